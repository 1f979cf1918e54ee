// Reads the client's omess.db from outside, as another program would.
#pragma once

#include <QStringList>

namespace velmora::test {

// The first column of every row `sql` returns; empty when the file cannot
// be opened.
[[nodiscard]] QStringList sqlColumn(const QString& dbPath, const QString& sql);

} // namespace velmora::test
