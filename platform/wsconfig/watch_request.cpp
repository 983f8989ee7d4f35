#include "wsconfig/watch_request.h"

#include <QUrl>

QByteArray watchRequest(const WatchTarget &target)
{
    QByteArray params;
    for (const int param : target.params) {
        params += (params.isEmpty() ? "" : ",") + QByteArray::number(param);
    }
    return "GET /api/v1/watch?system=" + QUrl::toPercentEncoding(target.systemName) +
           "&params=" + params + " HTTP/1.1\r\nHost: " + target.host.toUtf8() + ':' +
           QByteArray::number(target.port) + "\r\nAccept: text/event-stream\r\n\r\n";
}
