// SPDX-License-Identifier: MIT
#include "networkinfo.h"

#include <QFileInfo>
#include <QNetworkInterface>

namespace {

bool isWireless(const QString& interfaceName) {
    const QString folder = QStringLiteral("/sys/class/net/") + interfaceName;
    return QFileInfo::exists(folder + QStringLiteral("/wireless")) ||
           QFileInfo::exists(folder + QStringLiteral("/phy80211"));
}

} // namespace

QVariantHash NetworkInfo::record(const QVector<Interface>& interfaces) {
    const QString addressesMember = QStringLiteral("addresses");
    QVariantList wired;
    QVariantList wireless;
    for (const Interface& interface : interfaces) {
        QVariantList& addresses = interface.wireless ? wireless : wired;
        for (QHostAddress address : interface.addresses) {
            address.setScopeId(QString());
            addresses.append(QVariantHash{{QStringLiteral("ip"), address.toString()}});
        }
    }
    return {
        {QStringLiteral("wired"), QVariantHash{{addressesMember, wired}}},
        {QStringLiteral("wireless"), QVariantHash{{addressesMember, wireless}}},
        {QStringLiteral("softAp"), QVariantHash{{QStringLiteral("accessPoints"), QVariantList()}}}};
}

QString NetworkInfo::text(const QVector<Interface>& interfaces) {
    QStringList addresses;
    for (const Interface& interface : interfaces) {
        for (const QHostAddress& address : interface.addresses) {
            if (!address.isLoopback() && !address.isLinkLocal())
                addresses.append(address.toString());
        }
    }
    return addresses.join(QStringLiteral(", "));
}

QVector<NetworkInfo::Interface> NetworkInfo::interfaces() {
    QVector<Interface> result;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& interface : all) {
        if (!interface.flags().testFlag(QNetworkInterface::IsUp))
            continue;
        QList<QHostAddress> addresses;
        const QList<QNetworkAddressEntry> entries = interface.addressEntries();
        for (const QNetworkAddressEntry& entry : entries)
            addresses.append(entry.ip());
        result.append({isWireless(interface.name()), addresses});
    }
    return result;
}
