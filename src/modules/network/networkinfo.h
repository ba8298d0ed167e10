#pragma once

#include <QHostAddress>
#include <QVariantHash>
#include <QVector>

// The value of the network information node:
// {"wired": {"addresses": [{"ip": TEXT}]}, "wireless": {"addresses": []},
//  "softAp": {"accessPoints": []}}
namespace NetworkInfo {

struct Interface {
    bool wireless;
    QList<QHostAddress> addresses;
};

// The record of the interfaces; addresses without their scope, because they go into certificates.
// Access points are listed like other wireless interfaces.
QVariantHash record(const QVector<Interface>& interfaces);

// The machine's interfaces that are up, loopback included.
QVector<Interface> interfaces();

} // namespace NetworkInfo
