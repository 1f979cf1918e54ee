// The values one logged-in session keeps. Emptied by the disconnect
// procedure, except the conference limit, which stays as the server last
// sent it.
#pragma once

#include <QString>
#include <QtGlobal>

namespace velmora {

struct SessionValues {
    QString userName;
    QString password;
    QString strProfileSite;
    qint16 intServerLimit = 0;
    qint32 lngNodeKey = 2;
};

} // namespace velmora
