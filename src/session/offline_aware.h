// A window that must stop sending when the connection is lost: the
// disconnect procedure tells every open window that implements this.
#pragma once

namespace velmora {

class OfflineAware {
public:
    virtual void onConnectionLost() = 0;

protected:
    ~OfflineAware() = default;
};

} // namespace velmora
