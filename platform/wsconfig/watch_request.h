#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

// Where a watch goes, who asks, and for what.
struct WatchTarget
{
    QString host; // dotted quad
    int port = 0;
    QString systemName;
    QVector<int> params; // numbers of the parameters, in the order to ask for
};

// The HTTP request that opens a watch.
[[nodiscard]] QByteArray watchRequest(const WatchTarget &target);
