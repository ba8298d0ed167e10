// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "settingsstore.h"

#include <QTimer>

// The device's settings. Values that clients write are stored in the state directory; at the next
// start they replace those of the device files. No other role can be written.
//
// Configuration: "nodes"; "stateDir", the state directory; "overrides", the paths whose configured
// values have precedence over stored ones; "developmentCa", true for a development authority when
// no HTTPS certificate is configured.
class SettingsWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit SettingsWorker(const QVariantHash& config);
    ~SettingsWorker() override;

    void setDataRequest(const CMSetDataRequest& request) override;

protected:
    void stored(const QString& path, const QString& role, const QVariant& value) override;

private:
    void hideDeviceNodes(const QVariantHash& nodes);
    void restore(const QStringList& overrides);
    void restoreValue(const QString& path, const QVariant& value);
    void provideDevelopmentCa(const QString& folder);
    bool isGiven(const CMPath& path) const;
    void save();

    SettingsStore m_store;
    QVariantHash m_stored;
    QTimer m_saveTimer;
};
