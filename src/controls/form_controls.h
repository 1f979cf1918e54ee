// Switching a whole form on or off while it waits on the server.
#pragma once

class QWidget;

namespace velmora {

// Enables or disables every direct child of `form`, except `keep`.
void setFormControlsEnabled(QWidget& form, bool enabled, const QWidget* keep = nullptr);

} // namespace velmora
