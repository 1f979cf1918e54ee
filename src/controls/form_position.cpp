#include "controls/form_position.h"

#include "settings/settings.h"

#include <QWidget>

namespace velmora {

QRect savedFormRect(const Settings& settings, const QString& name, const QWidget& window) {
    const int left = settings.formPos(name, QLatin1StringView(edge::kLeft), window.x());
    const int top = settings.formPos(name, QLatin1StringView(edge::kTop), window.y());
    const int height = settings.formPos(name, QLatin1StringView(edge::kHeight), window.height());
    const int width = settings.formPos(name, QLatin1StringView(edge::kWidth), window.width());
    return QRect(left, top, width, height);
}

void saveFormRect(Settings& settings, const QString& name, const QWidget& window) {
    settings.setFormPos(name, QLatin1StringView(edge::kLeft), window.x());
    settings.setFormPos(name, QLatin1StringView(edge::kTop), window.y());
    settings.setFormPos(name, QLatin1StringView(edge::kHeight), window.height());
    settings.setFormPos(name, QLatin1StringView(edge::kWidth), window.width());
}

} // namespace velmora
