// A window that must stop sending when the connection is lost: the
// disconnect procedure tells every open window that implements this, and a
// login again after a dropped connection tells them that it is back.
#pragma once

namespace velmora {

class OfflineAware {
public:
    virtual void onConnectionLost() = 0;
    virtual void onConnectionRestored() {}

protected:
    ~OfflineAware() = default;
};

} // namespace velmora
