// The "FormPos" place and size a window keeps in the settings between runs.
#pragma once

#include <QRect>
#include <QString>

class QWidget;

namespace velmora {

class Settings;

// The saved place and size of form `name`; an edge never saved is the
// window's own.
[[nodiscard]] QRect savedFormRect(const Settings& settings, const QString& name,
                                  const QWidget& window);

void saveFormRect(Settings& settings, const QString& name, const QWidget& window);

} // namespace velmora
