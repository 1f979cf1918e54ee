// The start of a message window: the view's header with the warning banner,
// and the font toolbar set to the default message font of the settings.
#pragma once

#include <QString>

namespace velmora {

class FontToolbar;
class HtmlMessageView;
class Settings;

// Clears the view, writes the header and sets the toolbar. A style missing
// from the settings file reads as `styleDefault`. Returns the number of
// blocks the header takes, which a saved log leaves out.
int InitMessageView(HtmlMessageView& view, FontToolbar& toolbar, const Settings& settings,
                    const QString& styleDefault);

} // namespace velmora
