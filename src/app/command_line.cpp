#include "app/command_line.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace velmora {

CommandLine parseCommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Velmora instant messenger: buddies, private messages, conferences and "
                       "offline messages.\n\nThe settings, the server list, the offline messages, "
                       "the sounds and the smilies live in the application folder."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption home(
        QStringLiteral("home"),
        QStringLiteral("Use DIR as the application folder (else VELMORA_HOME, else "
                       "$XDG_DATA_HOME/velmora when installed, the executable's folder in a "
                       "build tree)."),
        QStringLiteral("DIR"));
    parser.addOption(home);
    parser.process(arguments);
    return {parser.value(home)};
}

} // namespace velmora
