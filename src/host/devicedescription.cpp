// SPDX-License-Identifier: MIT
#include "devicedescription.h"

#include "core/model/cmpath.h"
#include "core/model/cmroles.h"
#include "core/plixjson.h"
#include "core/plixvalue.h"

#include <QRegExp>
#include <QRegularExpression>

#include <optional>

namespace {

const QString platformMember = QStringLiteral("platform");
const QString readPathPrefixMember = QStringLiteral("readPathPrefix");
const QString firmwareUpdateDataPipeMember = QStringLiteral("firmwareUpdateDataPipe");
const QString workersMember = QStringLiteral("workers");
const QString libraryMember = QStringLiteral("library");
const QString configMember = QStringLiteral("config");
const QString nodesMember = QStringLiteral("nodes");
const QString rowsMember = QStringLiteral("rows");

bool fail(QString* error, const QString& text) {
    *error = text;
    return false;
}

bool isObject(const QVariant& value) {
    return value.userType() == QMetaType::QVariantHash;
}

bool isList(const QVariant& value) {
    return value.userType() == QMetaType::QVariantList;
}

// Detects misspelt members.
bool hasOnly(const QVariantHash& object, const QStringList& known, const QString& where,
             QString* error) {
    QStringList names = object.keys();
    names.sort();
    for (const QString& name : qAsConst(names)) {
        if (!known.contains(name))
            return fail(error, QStringLiteral("%1 has the unknown member \"%2\"").arg(where, name));
    }
    return true;
}

bool isAbsolutePath(const QVariant& value) {
    return value.userType() == QMetaType::QString && value.toString().startsWith(QLatin1Char('/'));
}

bool checkPlatform(const QVariant& platform, QString* error) {
    if (!isObject(platform))
        return fail(error, QStringLiteral("\"platform\" is not an object"));
    const QVariantHash members = platform.toHash();
    if (!hasOnly(members, {readPathPrefixMember, firmwareUpdateDataPipeMember},
                 QStringLiteral("\"platform\""), error))
        return false;
    for (auto it = members.cbegin(); it != members.cend(); ++it) {
        if (!isAbsolutePath(it.value()))
            return fail(error, QStringLiteral("\"%1\" is not an absolute path").arg(it.key()));
    }
    if (!members.contains(readPathPrefixMember))
        return true;
    const QString prefix = members.value(readPathPrefixMember).toString();
    if (!prefix.endsWith(QLatin1Char('/')))
        return fail(error, QStringLiteral("\"readPathPrefix\" does not end with \"/\""));
    if (!QRegExp(prefix).isValid())
        return fail(error, QStringLiteral("\"readPathPrefix\" is not a valid regular expression"));
    return true;
}

bool checkWorker(const QVariant& entry, QString* error) {
    // The name becomes part of a file name, which must not leave the plug-in folder.
    static const QRegularExpression libraryName(QStringLiteral("\\A[A-Za-z0-9_-]+\\z"));

    const QVariantHash worker = entry.toHash();
    if (!isObject(entry) || worker.value(libraryMember).userType() != QMetaType::QString)
        return fail(error,
                    QStringLiteral("a worker is not an object with the name of a \"library\""));
    const QString library = worker.value(libraryMember).toString();
    if (!libraryName.match(library).hasMatch())
        return fail(error, QStringLiteral("\"%1\" is not the name of a library").arg(library));
    if (!hasOnly(worker, {libraryMember, configMember},
                 QStringLiteral("worker \"%1\"").arg(library), error))
        return false;
    if (worker.contains(configMember) && !isObject(worker.value(configMember)))
        return fail(error,
                    QStringLiteral("\"config\" of worker \"%1\" is not an object").arg(library));
    return true;
}

bool checkWorkers(const QVariant& workers, QString* error) {
    if (!isList(workers))
        return fail(error, QStringLiteral("\"workers\" is not a list"));
    QStringList libraries;
    const QVariantList entries = workers.toList();
    for (const QVariant& entry : entries) {
        if (!checkWorker(entry, error))
            return false;
        const QString library = entry.toHash().value(libraryMember).toString();
        if (libraries.contains(library))
            return fail(error, QStringLiteral("worker \"%1\" is listed twice").arg(library));
        libraries.append(library);
    }
    return true;
}

bool checkPath(const QString& path, QString* error) {
    const QString worker = CMPath::fromEncoded(path).worker();
    if (worker.isEmpty() || worker.contains(QLatin1Char('/')))
        return fail(error, QStringLiteral("the path \"%1\" names no worker").arg(path));
    return true;
}

bool checkNode(const QString& path, const QVariant& node, QString* error) {
    if (!checkPath(path, error))
        return false;
    if (!isObject(node))
        return fail(error, QStringLiteral("node \"%1\" is not an object").arg(path));
    const QVariantHash roles = node.toHash();
    if (!roles.contains(rowsMember))
        return true;
    const QVariant rows = roles.value(rowsMember);
    if (!isList(rows))
        return fail(error, QStringLiteral("\"rows\" of node \"%1\" is not a list").arg(path));
    const QVariantList entries = rows.toList();
    for (const QVariant& row : entries) {
        if (!isObject(row))
            return fail(error, QStringLiteral("a row of node \"%1\" is not an object").arg(path));
    }
    return true;
}

bool checkNodes(const QVariant& nodes, QString* error) {
    if (!isObject(nodes))
        return fail(error, QStringLiteral("\"nodes\" is not an object"));
    const QVariantHash entries = nodes.toHash();
    QStringList paths = entries.keys();
    paths.sort();
    return std::all_of(paths.cbegin(), paths.cend(), [&](const QString& path) {
        return checkNode(path, entries.value(path), error);
    });
}

bool checkDevice(const QVariant& device, QString* error) {
    if (!isObject(device))
        return fail(error, QStringLiteral("not a JSON object"));
    const QVariantHash members = device.toHash();
    return hasOnly(members, {platformMember, workersMember, nodesMember},
                   QStringLiteral("the device"), error) &&
           (!members.contains(platformMember) ||
            checkPlatform(members.value(platformMember), error)) &&
           (!members.contains(workersMember) ||
            checkWorkers(members.value(workersMember), error)) &&
           (!members.contains(nodesMember) || checkNodes(members.value(nodesMember), error));
}

QVariant parseJson(const QByteArray& json, QString* error) {
    PlixError parseError;
    unsigned int position = 0;
    QVariant value = PlixJson::parse(json, parseError, &position);
    if (!parseError.isEmpty())
        *error =
            QStringLiteral("not valid JSON at byte %1: %2").arg(position).arg(parseError.message());
    return value;
}

QVariant typed(const QVariant& value) {
    const PlixValue record = PlixValue::fromScalar(value);
    return record.isEmpty() ? value : record.__variant();
}

QVariantHash withTypedValue(QVariantHash roles) {
    const auto value = roles.find(PlixRolesType::Value());
    if (value != roles.end())
        *value = typed(*value);
    return roles;
}

QVariantHash mergedNode(QVariantHash roles, const QVariantHash& layer) {
    const QVariantHash added = withTypedValue(layer);
    for (auto it = added.cbegin(); it != added.cend(); ++it)
        roles.insert(it.key(), it.value());
    if (!layer.contains(rowsMember))
        return roles;
    QVariantList rows = layer.value(rowsMember).toList();
    for (QVariant& row : rows)
        row = withTypedValue(row.toHash());
    roles.insert(rowsMember, rows);
    return roles;
}

} // namespace

bool DeviceDescription::merge(const QByteArray& json, QString* error) {
    QString fault;
    const QVariant device = parseJson(json, &fault);
    if (!fault.isEmpty())
        return fail(error, fault);
    if (!checkDevice(device, error))
        return false;

    const QVariantHash members = device.toHash();
    const QVariantHash platform = members.value(platformMember).toHash();
    m_readPathPrefix = platform.value(readPathPrefixMember, m_readPathPrefix).toString();
    m_firmwareUpdateDataPipe =
        platform.value(firmwareUpdateDataPipeMember, m_firmwareUpdateDataPipe).toString();

    if (members.contains(workersMember)) {
        m_workers.clear();
        const QVariantList workers = members.value(workersMember).toList();
        for (const QVariant& entry : workers) {
            const QVariantHash worker = entry.toHash();
            m_workers.append(
                {worker.value(libraryMember).toString(), worker.value(configMember).toHash()});
        }
    }

    const QVariantHash nodes = members.value(nodesMember).toHash();
    for (auto it = nodes.cbegin(); it != nodes.cend(); ++it)
        m_nodes.insert(it.key(), mergedNode(m_nodes.value(it.key()).toHash(), it.value().toHash()));
    return true;
}

bool DeviceDescription::override(const QString& assignment, QString* error) {
    const int separator = assignment.indexOf(QLatin1Char('='));
    if (separator < 0)
        return fail(error, QStringLiteral("no \"=\" between path and value"));
    const QString path = assignment.left(separator);
    if (!checkPath(path, error))
        return false;
    QString fault;
    const QVariant value = parseJson(assignment.mid(separator + 1).toUtf8(), &fault);
    if (!fault.isEmpty())
        return fail(
            error, QStringLiteral("the value is %1 (a text stands in quotation marks)").arg(fault));
    m_nodes.insert(path,
                   mergedNode(m_nodes.value(path).toHash(), {{PlixRolesType::Value(), value}}));
    m_overriddenPaths.append(path);
    return true;
}

QStringList DeviceDescription::nodeWorkers() const {
    QStringList workers;
    for (auto it = m_nodes.cbegin(); it != m_nodes.cend(); ++it)
        workers.append(CMPath::fromEncoded(it.key()).worker());
    workers.removeDuplicates();
    workers.sort();
    return workers;
}
