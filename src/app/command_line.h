// The client's command line: `--home DIR`, `--help` and `--version`.
#pragma once

#include <QString>
#include <QStringList>

namespace velmora {

struct CommandLine {
    QString home; // empty when not given
};

// Reads the arguments (the program name first, Qt's own options already
// taken out). `--help` and `--version` print their text and exit, and so does
// an unknown option, with its error and status 1.
[[nodiscard]] CommandLine parseCommandLine(const QStringList& arguments);

} // namespace velmora
