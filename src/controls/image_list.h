// The main window's image list: buddy-tree and tray images by index.
#pragma once

#include <QIcon>

namespace velmora::images {

inline constexpr int kOnlineGroup = 1;
inline constexpr int kOfflineGroup = 2;
inline constexpr int kOnlineBuddy = 3;
inline constexpr int kOfflineBuddy = 4;
inline constexpr int kTrayOnline = 12;
inline constexpr int kTrayOffline = 13;

// The image at `index`; an index with no image gives a null icon.
[[nodiscard]] QIcon mainImage(int index);

} // namespace velmora::images
