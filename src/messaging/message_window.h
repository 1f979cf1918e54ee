// A window with a conversation view that others write notices into (buddy
// logged in or out, file offers): the private message window.
#pragma once

namespace velmora {

class MessageView;

class MessageWindow {
public:
    [[nodiscard]] virtual MessageView& messageView() = 0;

protected:
    ~MessageWindow() = default;
};

} // namespace velmora
