// SPDX-License-Identifier: MIT
#include "core/model/cmnodesworker.h"

#include "core/model/cmchangenotifier.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmrowhistory.h"
#include "core/model/cmvalues.h"
#include "core/plixhost.h"

#include <algorithm>
#include <optional>

namespace {

// Longer answers are not cached: they take more memory than they save time.
constexpr int maximumCachedRows = 1000;

// Tells receivers to read the list again.
const PlixList<PlixRowEvent> resetEvents;

CMError nodeNotFound(const CMPath& path) {
    return CMError::fromName(CMErrorNames::nodeNotFound(),
                             QStringLiteral("There is no node \"%1\"").arg(path.toEncoded()));
}

QVariantList pick(const QVariantHash& values, const QStringList& roles) {
    QVariantList picked;
    picked.reserve(roles.size());
    for (const QString& role : roles) {
        const auto found = values.constFind(role);
        if (found == values.constEnd())
            picked.append(QVariant());
        else
            picked.append(*found);
    }
    return picked;
}

// Rows of an internal list are internal themselves.
PlixRowsRoles pickRows(const QVector<QVariantHash>& rows, qint64 version, bool isInternal,
                       const CMGetRowsRequest& request) {
    const int first = std::max(request.from, 0);
    const int last = std::min<int>(request.to, rows.size() - 1);
    QVariantList picked;
    if (first <= last)
        picked.reserve(last - first + 1);
    for (int index = first; index <= last; ++index) {
        QVariantHash row = rows[index];
        if (isInternal)
            row.insert(PlixRoles::Internal(), true);
        picked.append(QVariant(pick(row, request.roles)));
    }
    PlixRowsRoles result;
    result.setRows(picked);
    result.setCount(rows.size());
    result.setVersion(version);
    return result;
}

// Null without a host. Looked up each time, because a receiver of a change may delete the host.
CMChangeNotifier* notifier() {
    CMWorkerRegistry* const registry = plixWorkerRegistry();
    return registry ? registry->changeNotifier() : nullptr;
}

void announceRole(const QString& path, const QString& role, const QVariant& value) {
    const CMPath changed = CMPath::fromEncoded(path);
    if (role == PlixRolesType::Value() && notifier())
        notifier()->valueChanged(changed, CMValues::record(value));
    if (notifier())
        notifier()->dataChanged(changed, role);
}

void announceRows(const QString& path, const PlixList<PlixRowEvent>& events) {
    if (notifier())
        notifier()->rowsChanged(CMPath::fromEncoded(path), events);
}

PlixRowEvent rowEvent(PlixRowEventType::Enum type, int index) {
    PlixRowEvent event;
    event.setType(type);
    event.setIndex(index);
    return event;
}

PlixList<PlixRowEvent> oneEvent(const PlixRowEvent& event) {
    PlixList<PlixRowEvent> events;
    events.append(event);
    return events;
}

bool sameRow(const QVariantHash& left, const QVariantHash& right) {
    return CMValues::same(left, right);
}

// The events that turn one list into the other; null when the list has to be read again. Common
// rows at the beginning and at the end are skipped, so that a small change gives few events.
std::optional<PlixList<PlixRowEvent>> difference(const QVector<QVariantHash>& from,
                                                 const QVector<QVariantHash>& to) {
    const int shorter = std::min(from.size(), to.size());
    int begin = 0;
    while (begin < shorter && sameRow(from[begin], to[begin]))
        ++begin;
    int tail = 0;
    while (tail < shorter - begin &&
           sameRow(from[from.size() - 1 - tail], to[to.size() - 1 - tail]))
        ++tail;

    PlixList<PlixRowEvent> events;
    const auto isFull = [&events] { return events.size() > int(CMRowHistory::maximumEvents); };
    for (int index = from.size() - tail - 1; index >= to.size() - tail && !isFull(); --index)
        events.append(rowEvent(PlixRowEventType::Removed, index));
    for (int index = begin; index < shorter - tail && !isFull(); ++index) {
        if (!sameRow(from[index], to[index]))
            events.append(rowEvent(PlixRowEventType::Changed, index));
    }
    for (int index = from.size() - tail; index < to.size() - tail && !isFull(); ++index)
        events.append(rowEvent(PlixRowEventType::Inserted, index));
    return isFull() ? std::nullopt : std::optional(events);
}

// Whether clients must not write the role: because checks and other clients rely on it, or because
// it is an HTTP request, which a plain node would store, with the client's address, and not answer.
bool isGuard(const QString& role) {
    return role == PlixRoles::Internal() || role == PlixRoles::Modifiable() ||
           role == PlixRoles::Minimum() || role == PlixRoles::Maximum() ||
           role == PlixRoles::Type() || role == PlixRoles::HttpRequest();
}

CMError checkPermission(const QVariantHash& roles, const CMSetDataRequest& request) {
    // A write may add a known role to a node, except Activate.
    const bool mayHave =
        request.role != PlixRoles::Activate() && CMAllRoles().contains(request.role);
    const bool isKnown = roles.contains(request.role) || mayHave;
    const bool isModifiable = CMValues::scalar(roles.value(PlixRoles::Modifiable(), true)).toBool();
    if (isKnown && isModifiable && !isGuard(request.role))
        return {};
    return CMError::fromName(CMErrorNames::notModifiable(),
                             QStringLiteral("Role \"%1\" of \"%2\" cannot be modified")
                                 .arg(request.role, request.path.toEncoded()));
}

CMError checkSize(const CMSetDataRequest& request) {
    if (CMValues::weight(request.value) <= CMNodesWorker::maximumValueBytes)
        return {};
    return CMError::fromName(
        CMErrorNames::outOfRange(),
        QStringLiteral("The value is too large for \"%1\"").arg(request.path.toEncoded()));
}

// Replaces the value by one of the type that is stored, if a typed value is stored.
CMError checkType(const QVariantHash& roles, const CMSetDataRequest& request, QVariant* value) {
    const PlixValue before(roles.value(request.role).toHash());
    if (before.type().isNull())
        return {};
    PlixValue after;
    if (!before.convert(request.value, &after))
        return CMError::fromName(CMErrorNames::typeMismatch(),
                                 QStringLiteral("\"%1\" takes a value of type %2")
                                     .arg(request.path.toEncoded(), before.type()));
    *value = after.__variant();
    return {};
}

CMError checkRange(const QVariantHash& roles, const CMSetDataRequest& request,
                   const QVariant& value) {
    if (CMValues::isWithin(value, roles.value(PlixRoles::Minimum()),
                           roles.value(PlixRoles::Maximum())))
        return {};
    return CMError::fromName(
        CMErrorNames::outOfRange(),
        QStringLiteral("The value lies outside the range of \"%1\"").arg(request.path.toEncoded()));
}

} // namespace

CMNodesWorker::CMNodesWorker(const QVariantHash& config, const QString& name) : m_name(name) {
    const QVariantHash nodes = config.value(QStringLiteral("nodes")).toHash();
    for (auto entry = nodes.begin(); entry != nodes.end(); ++entry) {
        if (CMPath::fromEncoded(entry.key()).worker() == m_name)
            addConfigured(entry.key(), entry->toHash());
    }
    if (plixWorkerRegistry())
        plixWorkerRegistry()->addWorker(m_name, this);
}

CMNodesWorker::~CMNodesWorker() {
    if (plixWorkerRegistry())
        plixWorkerRegistry()->removeWorker(m_name, this);
}

void CMNodesWorker::addConfigured(const QString& path, const QVariantHash& members) {
    QVariantHash roles = members;
    const QVariantList rows = roles.take(QStringLiteral("rows")).toList();
    setNode(path, roles);
    QVector<QVariantHash> list;
    list.reserve(rows.size());
    for (const QVariant& row : rows)
        list.append(row.toHash());
    setRows(path, list);
}

void CMNodesWorker::getDataRequest(const CMGetDataRequest& request) {
    const auto found = m_nodes.constFind(request.path.toEncoded());
    if (found == m_nodes.constEnd())
        request.reply.fail(nodeNotFound(request.path));
    else
        request.reply.finish(pick(found->roles, request.roles));
}

void CMNodesWorker::getRowsRequest(const CMGetRowsRequest& request) {
    const auto found = m_nodes.constFind(request.path.toEncoded());
    if (found == m_nodes.constEnd()) {
        request.reply.fail(nodeNotFound(request.path));
        return;
    }
    if (request.version != -1 && request.version != found->version) {
        request.reply.fail(
            CMError::fromName(CMErrorNames::versionMismatch(),
                              QStringLiteral("The list has version %1").arg(found->version)));
        return;
    }

    const bool isInternal = CMValues::scalar(found->roles.value(PlixRoles::Internal())).toBool();
    const auto pick = [&] { return pickRows(found->rows, found->version, isInternal, request); };
    const bool isLong = std::min(qint64(request.to) - request.from + 1,
                                 qint64(found->rows.size())) > maximumCachedRows;
    request.reply.finish(isLong ? pick() : m_rowsAnswers.answer(request, found->version, pick));
}

void CMNodesWorker::setDataRequest(const CMSetDataRequest& request) {
    const QString path = request.path.toEncoded();
    const auto found = m_nodes.constFind(path);
    if (found == m_nodes.constEnd()) {
        request.reply.fail(nodeNotFound(request.path));
        return;
    }
    QVariant value = request.value;
    if (const CMError error = checkWrite(*found, request, &value)) {
        request.reply.fail(error);
        return;
    }

    // A receiver of the change may delete this worker, so no member is used afterwards.
    const CMReply<QVariant> reply = request.reply;
    const QString role = request.role;
    const bool isChange = store(path, role, value);
    stored(path, role, value);
    if (isChange)
        announceRole(path, role, value);
    reply.finish(value);
}

// Whether the request may be carried out, and the value to store then.
CMError CMNodesWorker::checkWrite(const Node& node, const CMSetDataRequest& request,
                                  QVariant* value) const {
    if (const CMError error = checkPermission(node.roles, request))
        return error;
    if (const CMError error = checkSize(request))
        return error;
    if (request.role != PlixRolesType::Value())
        return {};
    if (const CMError error = checkType(node.roles, request, value))
        return error;
    return checkRange(node.roles, request, *value);
}

bool CMNodesWorker::connectValueChange(const CMPath& path, QObject* receiver, const char* slot,
                                       Qt::ConnectionType type) {
    return CMRoot() && CMRoot()->connectValueChange(path, receiver, slot, type);
}

bool CMNodesWorker::disconnectValueChange(const CMPath& path, QObject* receiver, const char* slot) {
    return CMRoot() && CMRoot()->disconnectValueChange(path, receiver, slot);
}

bool CMNodesWorker::connectDataChange(const CMPath& path, QObject* receiver, const char* slot,
                                      Qt::ConnectionType type) {
    return CMRoot() && CMRoot()->connectDataChange(path, receiver, slot, type);
}

bool CMNodesWorker::disconnectDataChange(const CMPath& path, QObject* receiver, const char* slot) {
    return CMRoot() && CMRoot()->disconnectDataChange(path, receiver, slot);
}

bool CMNodesWorker::connectRowsChange(const CMPath& path, QObject* receiver, const char* slot,
                                      Qt::ConnectionType type) {
    return CMRoot() && CMRoot()->connectRowsChange(path, receiver, slot, type);
}

bool CMNodesWorker::disconnectRowsChange(const CMPath& path, QObject* receiver, const char* slot) {
    return CMRoot() && CMRoot()->disconnectRowsChange(path, receiver, slot);
}

CMNodesWorker::Node& CMNodesWorker::node(const QString& path) {
    auto found = m_nodes.find(path);
    if (found == m_nodes.end()) {
        found = m_nodes.insert(path, {});
        found->version = m_firstVersion;
    }
    return *found;
}

// True when the role has another value now.
bool CMNodesWorker::store(const QString& path, const QString& role, const QVariant& value) {
    QVariantHash& roles = node(path).roles;
    const auto found = roles.constFind(role);
    if (found != roles.constEnd() && CMValues::same(*found, value))
        return false;
    roles.insert(role, value);
    return true;
}

void CMNodesWorker::setNode(const QString& path, const QVariantHash& roles) {
    // All roles are stored before the first change is announced.
    node(path);
    QVariantHash changed;
    for (auto role = roles.begin(); role != roles.end(); ++role) {
        if (store(path, role.key(), *role))
            changed.insert(role.key(), *role);
    }
    for (auto role = changed.begin(); role != changed.end(); ++role)
        announceRole(path, role.key(), *role);
}

void CMNodesWorker::removeNode(const QString& path) {
    if (!hasNode(path))
        return;
    const Node removed = m_nodes.take(path);
    m_firstVersion = std::max(m_firstVersion, removed.version + 1);
    for (auto role = removed.roles.begin(); role != removed.roles.end(); ++role)
        announceRole(path, role.key(), {});
    if (!removed.rows.isEmpty())
        announceRows(path, difference(removed.rows, {}).value_or(resetEvents));
}

QVariant CMNodesWorker::role(const QString& path, const QString& role) const {
    return m_nodes.value(path).roles.value(role);
}

void CMNodesWorker::setRole(const QString& path, const QString& role, const QVariant& value) {
    if (store(path, role, value))
        announceRole(path, role, value);
}

void CMNodesWorker::setValue(const QString& path, const PlixValue& value) {
    setRole(path, PlixRolesType::Value(), value.__variant());
}

int CMNodesWorker::rowCount(const QString& path) const {
    return m_nodes.value(path).rows.size();
}

QVariantHash CMNodesWorker::row(const QString& path, int index) const {
    return m_nodes.value(path).rows.at(index);
}

qint64 CMNodesWorker::rowsVersion(const QString& path) const {
    return m_nodes.value(path).version;
}

void CMNodesWorker::setRows(const QString& path, const QVector<QVariantHash>& rows) {
    Node& owner = node(path);
    const auto events = difference(owner.rows, rows);
    if (events && events->isEmpty())
        return;
    owner.rows = rows;
    ++owner.version;
    announceRows(path, events.value_or(resetEvents));
}

void CMNodesWorker::insertRow(const QString& path, int index, const QVariantHash& row) {
    Node& owner = node(path);
    Q_ASSERT(index >= 0 && index <= owner.rows.size());
    owner.rows.insert(index, row);
    ++owner.version;
    announceRows(path, oneEvent(rowEvent(PlixRowEventType::Inserted, index)));
}

void CMNodesWorker::removeRow(const QString& path, int index) {
    Node& owner = node(path);
    Q_ASSERT(index >= 0 && index < owner.rows.size());
    owner.rows.remove(index);
    ++owner.version;
    announceRows(path, oneEvent(rowEvent(PlixRowEventType::Removed, index)));
}

void CMNodesWorker::changeRow(const QString& path, int index, const QVariantHash& row) {
    Node& owner = node(path);
    Q_ASSERT(index >= 0 && index < owner.rows.size());
    if (sameRow(owner.rows.at(index), row))
        return;
    owner.rows[index] = row;
    ++owner.version;
    announceRows(path, oneEvent(rowEvent(PlixRowEventType::Changed, index)));
}

void CMNodesWorker::moveRow(const QString& path, int index, int toIndex) {
    Node& owner = node(path);
    Q_ASSERT(index >= 0 && index < owner.rows.size());
    Q_ASSERT(toIndex >= 0 && toIndex < owner.rows.size());
    if (index == toIndex)
        return;
    owner.rows.move(index, toIndex);
    ++owner.version;
    PlixRowEvent event = rowEvent(PlixRowEventType::Moved, index);
    event.setToIndex(toIndex);
    announceRows(path, oneEvent(event));
}

void CMNodesWorker::stored(const QString&, const QString&, const QVariant&) {}
