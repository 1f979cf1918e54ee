// Icons drawn by code, at whatever size and pixel ratio a screen asks for:
// sharp at a scale factor of 2 (or 1.25) without shipping a picture per size.
#pragma once

#include <QIcon>

#include <functional>

class QPainter;

namespace velmora {

// `draw` paints the picture on a `designSize` square; it is scaled to each
// size asked for. The disabled look is made from the drawn picture.
[[nodiscard]] QIcon paintedIcon(int designSize, std::function<void(QPainter&)> draw);

} // namespace velmora
