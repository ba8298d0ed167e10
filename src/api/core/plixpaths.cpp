// SPDX-License-Identifier: MIT
#include "core/plixpaths.h"

#include "core/plixhost.h"

namespace {

struct PlatformPaths {
    QString readPathPrefix;
    QString firmwareUpdateDataPipe;
};

PlatformPaths& platformPaths() {
    static PlatformPaths paths;
    return paths;
}

} // namespace

void plixSetPlatformPaths(const QString& readPathPrefix, const QString& firmwareUpdateDataPipe) {
    platformPaths() = {readPathPrefix, firmwareUpdateDataPipe};
}

QString PlixWebserverReadPathPrefix() {
    return platformPaths().readPathPrefix;
}

QString PlixFirmwareUpdateDataPipe() {
    return platformPaths().firmwareUpdateDataPipe;
}

CMPath PlixWebserverDocumentRootPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/documentRoot"));
}

CMPath PlixWebserverDefaultLocationPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/defaultLocation"));
}

CMPath PlixWebserverStrictPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/strictPath"));
}

CMPath PlixWebserverLimitPath(const QString& name) {
    return CMPath::fromEncoded(QLatin1String("settings:/webserver/limits/") + name);
}

CMPath PlixWebserverAllowedOriginsPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/allowedOrigins"));
}

CMPath PlixWebserverPortPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/port"));
}

CMPath PlixWebserverMetricsPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/metrics"));
}

CMPath PlixWebserverMetricsClientsPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/metricsClients"));
}

CMPath PlixWebserverAccessLogPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/accessLog"));
}

CMPath PlixWebserverHttpsCertPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/httpsCert"));
}

CMPath PlixWebserverHttpsPrivateKeyPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/httpsPrivateKey"));
}

CMPath PlixWebserverHttpsUseDeviceCertPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/httpsUseDeviceCert"));
}

CMPath PlixWebserverHttpsPortPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/webserver/httpsPort"));
}

CMPath PlixUILanguagePath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/ui/language"));
}

CMPath PlixNetworkInfoPath() {
    return CMPath::fromEncoded(QStringLiteral("network:info"));
}
