// SPDX-License-Identifier: MIT
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

// The addresses of the interfaces in words, without those of loopback: "192.168.1.5, 10.0.0.7".
QString text(const QVector<Interface>& interfaces);

// The machine's interfaces that are up, loopback included.
QVector<Interface> interfaces();

} // namespace NetworkInfo
