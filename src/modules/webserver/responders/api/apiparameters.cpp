// SPDX-License-Identifier: MIT
#include "responders/api/apiparameters.h"

#include "core/plixvalue.h"
#include "request.h"

ApiParameters::ApiParameters(const Request& request) {
    if (request.method() == "GET")
        m_url = &request.url();
    else
        m_members = &request.postData();
}

bool ApiParameters::contains(const QString& name) const {
    return m_url ? m_url->hasQueryItem(name) : m_members->contains(name);
}

QString ApiParameters::text(const QString& name) const {
    return m_url ? m_url->queryItemValue(name) : m_members->value(name).toString();
}

QStringList ApiParameters::list(const QString& name) const {
    return m_url ? text(name).split(QLatin1Char(',')) : m_members->value(name).toStringList();
}

std::optional<int> ApiParameters::number(const QString& name) const {
    bool ok = false;
    const int number = m_url ? text(name).toInt(&ok) : plixToInt(m_members->value(name), &ok);
    return ok ? std::optional<int>(number) : std::nullopt;
}

QVariant ApiParameters::json(const QString& name, PlixError* error) const {
    return m_url ? PlixJson::parse(text(name), *error) : m_members->value(name);
}
