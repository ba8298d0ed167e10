// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QVariantHash>
#include <QVector>

// The description of a device: the platform's paths, the workers to load and the initial nodes. It
// is merged from device files, of which later ones have precedence, and from overrides of single
// values. A plain value without effects on the system.
//
// A file is merged only if all of it is valid. Error messages are one sentence without the file's
// name.
class DeviceDescription {
public:
    struct Worker {
        // The plug-in's name without "lib" and ".so".
        QString library;
        QVariantHash config;
    };

    // Merges a device file (JSON). Nodes merge role by role; a node's rows and the list of workers
    // replace the earlier ones as a whole. A bare scalar as a value becomes the typed record.
    bool merge(const QByteArray& json, QString* error);

    // Overrides one node's value: "PATH=JSON".
    bool override(const QString& assignment, QString* error);

    // A regular expression; empty when no file gives it.
    const QString& readPathPrefix() const { return m_readPathPrefix; }
    // Empty when no file gives it.
    const QString& firmwareUpdateDataPipe() const { return m_firmwareUpdateDataPipe; }
    const QVector<Worker>& workers() const { return m_workers; }
    // Encoded path to an object of role name to value, with a list as the member "rows".
    const QVariantHash& nodes() const { return m_nodes; }
    // The names of the workers that the nodes belong to, each once.
    QStringList nodeWorkers() const;
    // The encoded paths whose values were overridden.
    const QStringList& overriddenPaths() const { return m_overriddenPaths; }

private:
    QString m_readPathPrefix;
    QString m_firmwareUpdateDataPipe;
    QVector<Worker> m_workers;
    QVariantHash m_nodes;
    QStringList m_overriddenPaths;
};
