// SPDX-License-Identifier: MIT
#include "settingsworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/model/cmvalues.h"
#include "core/plixconnect.h"
#include "core/plixpaths.h"
#include "developmentca.h"

namespace {

// Joins writes that follow each other, as those of a slider, to save the flash memory.
constexpr int saveDelayMs = 100;

QString stateFile(const QVariantHash& config, const char* name) {
    return config.value(QStringLiteral("stateDir")).toString() + QLatin1Char('/') +
           QLatin1String(name);
}

// Whether the node configures what clients can access. Such nodes are always internal, and only a
// device file can set them.
bool isDeviceNode(const QString& path) {
    return path.startsWith(QLatin1String("settings:/webserver/")) ||
           path == QLatin1String("settings:/media/directory") ||
           path == QLatin1String("settings:/player/engine") ||
           path == QLatin1String("settings:/player/output");
}

} // namespace

SettingsWorker::SettingsWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("settings")),
      m_store(stateFile(config, "settings.json")) {
    hideDeviceNodes(config.value(QStringLiteral("nodes")).toHash());
    restore(config.value(QStringLiteral("overrides")).toStringList());
    if (config.value(QStringLiteral("developmentCa")).toBool())
        provideDevelopmentCa(stateFile(config, "development-ca"));
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(saveDelayMs);
    plixConnect(&m_saveTimer, &QTimer::timeout, this, &SettingsWorker::save);
}

SettingsWorker::~SettingsWorker() {
    if (m_saveTimer.isActive())
        save();
}

// Other roles are not stored, so they cannot be written.
void SettingsWorker::setDataRequest(const CMSetDataRequest& request) {
    const QString path = request.path.toEncoded();
    if (!hasNode(path) || request.role == PlixRolesType::Value())
        return CMNodesWorker::setDataRequest(request);
    request.reply.fail(CMError::fromName(
        CMErrorNames::notModifiable(),
        QStringLiteral("Role \"%1\" of \"%2\" cannot be modified").arg(request.role, path)));
}

void SettingsWorker::stored(const QString& path, const QString&, const QVariant& value) {
    if (isDeviceNode(path) || CMValues::same(m_stored.value(path), value))
        return;
    m_stored.insert(path, value);
    if (!m_saveTimer.isActive())
        m_saveTimer.start();
}

void SettingsWorker::hideDeviceNodes(const QVariantHash& nodes) {
    for (auto it = nodes.cbegin(); it != nodes.cend(); ++it) {
        if (isDeviceNode(it.key()))
            setRole(it.key(), PlixRoles::Internal(), true);
    }
}

void SettingsWorker::restore(const QStringList& overrides) {
    m_stored = m_store.load();
    const QVariantHash values = m_stored;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (hasNode(it.key()) && !isDeviceNode(it.key()) && !overrides.contains(it.key()))
            restoreValue(it.key(), it.value());
    }
}

// With the checks of a client's write, because the device files may have changed meanwhile.
void SettingsWorker::restoreValue(const QString& path, const QVariant& value) {
    const CMReply<QVariant> reply;
    SettingsWorker::setDataRequest(
        {CMPath::fromEncoded(path), PlixRolesType::Value(), value, reply});
    if (reply.error())
        dbglog_warning("Stored setting ignored: " << path << ": " << reply.error().message());
}

void SettingsWorker::provideDevelopmentCa(const QString& folder) {
    const CMPath certificate = PlixWebserverHttpsCertPath();
    const CMPath privateKey = PlixWebserverHttpsPrivateKeyPath();
    if (isGiven(certificate) || isGiven(privateKey))
        return;
    DevelopmentCa authority(folder);
    if (!authority.prepare())
        return;
    PlixValue value;
    value.setString_(authority.certificate());
    setNode(certificate.toEncoded(),
            {{PlixRolesType::Value(), value.__variant()}, {PlixRoles::Internal(), true}});
    value.setString_(authority.privateKey());
    setNode(privateKey.toEncoded(),
            {{PlixRolesType::Value(), value.__variant()}, {PlixRoles::Internal(), true}});
}

bool SettingsWorker::isGiven(const CMPath& path) const {
    return role(path.toEncoded(), PlixRolesType::Value()).isValid();
}

void SettingsWorker::save() {
    m_store.save(m_stored);
}
