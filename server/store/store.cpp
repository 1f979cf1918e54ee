#include "store/store.h"

#include <utility>

namespace velmora::server::store {

void Store::change() {
    if (!open_) {
        begin();
        open_ = true;
    }
    ++changes_;
}

void Store::commit() {
    if (!std::exchange(open_, false)) {
        return;
    }
    try {
        end();
    } catch (...) {
        rollback();
        throw;
    }
}

void Store::commitQuietly() noexcept {
    try {
        commit();
    } catch (...) { // nothing left to tell; the changes are not kept
    }
}

} // namespace velmora::server::store
