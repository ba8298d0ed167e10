// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixjson.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantHash>

#include <optional>

class PlixUrl;
class Request;

// The parameters of a request to the API, read in the same way from the query items of a GET and
// from the members of a POST's body. Must not outlive the request.
class ApiParameters {
public:
    explicit ApiParameters(const Request& request);

    bool contains(const QString& name) const;
    // Null when absent.
    QString text(const QString& name) const;
    // A query item is split at commas; a member is an array of strings.
    QStringList list(const QString& name) const;
    // Null when it is no whole number of 32 bits.
    std::optional<int> number(const QString& name) const;
    // A query item is parsed as JSON, and sets the error when it is not; a member is the value.
    QVariant json(const QString& name, PlixError* error) const;

private:
    // One of them is null.
    const PlixUrl* m_url = nullptr;
    const QVariantHash* m_members = nullptr;
};
