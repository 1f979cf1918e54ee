#include "controls/form_controls.h"

#include <QWidget>

namespace velmora {

void setFormControlsEnabled(QWidget& form, bool enabled, const QWidget* keep) {
    for (QWidget* control : form.findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        if (control != keep) {
            control->setEnabled(enabled);
        }
    }
}

} // namespace velmora
