// Pictures of the main toolbar's five buttons, drawn at run time so that the
// client needs no icon theme from the desktop it runs on.
#pragma once

#include <QIcon>

namespace velmora::toolbar_icons {

// `index` is the button index, 1 to 5; any other gives a null icon.
[[nodiscard]] QIcon button(int index);

} // namespace velmora::toolbar_icons
