// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>
#include <QVariant>

// Base of the platform's record types: a hash of member name to value, with typed accessors in the
// derived classes. A record is a value; copies share their members implicitly.
class PlixHash {
public:
    PlixHash() = default;
    PlixHash(const QHash<QString, QVariant>& hash) : m_hash(hash) {}

    // NOLINTBEGIN(bugprone-reserved-identifier): the platform's names for access to the whole
    // record
    const QHash<QString, QVariant>& __hash() const { return m_hash; }
    QVariant __variant() const { return m_hash; }
    bool __contains(const QString& key) const { return m_hash.contains(key); }
    // NOLINTEND(bugprone-reserved-identifier)
    bool isEmpty() const { return m_hash.isEmpty(); }

    bool operator==(const PlixHash& other) const { return m_hash == other.m_hash; }
    bool operator!=(const PlixHash& other) const { return m_hash != other.m_hash; }

protected:
    // The member's value; an invalid variant when the record does not have it.
    QVariant member(const QString& key) const { return m_hash.value(key); }
    QVariant takeMember(const QString& key) { return m_hash.take(key); }
    void setMember(const QString& key, const QVariant& value) { m_hash.insert(key, value); }

private:
    QHash<QString, QVariant> m_hash;
};

// The platform's list of records: its entries are the records' variants, so that the list
// serialises as an array of objects.
template <typename T>
class PlixList : public QVariantList {
public:
    PlixList() = default;
    explicit PlixList(const QVariantList& list) : QVariantList(list) {}

    void append(const T& record) { QVariantList::append(record.__variant()); }
    // The record at the position; an entry that is not an object reads as an empty record.
    T record(int position) const { return T(QVariantList::at(position).toHash()); }
};

Q_DECLARE_METATYPE(PlixHash)
