// SPDX-License-Identifier: MIT

// responders/api/: The JSON API to the data model.
#pragma once

#include "core/model/cmpath.h"
#include "core/model/cmrequest.h"
#include "responders/api/responderconfiguration.h"
#include "responders/responder.h"

#include <QStringList>
#include <QVariant>

// Implements the JSON API to the data model: /api/getData, /api/getRows and /api/setData, by GET
// with query items or by POST with a form or a JSON object. Nodes and rows that the data model
// marks as internal are hidden. Every failure is answered with status 500 and {"error": <record>}.
class ApiResponder : public Responder {
    Q_OBJECT

public:
    // The form of the values of a node or row: an array in the order of the roles, or an object
    // with the roles as names.
    enum ResponseFormat { Values = 0, Structure = 1 };

    ApiResponder(Request& request, const QString& documentRoot,
                 const ResponderConfiguration& configuration, QObject* parent = nullptr);

    void respond() override;
    bool respondWillBlock() override { return false; }

private Q_SLOTS:
    void on_getData_finished(const CMVoidReply& reply, ApiResponder::ResponseFormat type,
                             QStringList roles);
    void on_getRows_finished(const CMVoidReply& reply, ApiResponder::ResponseFormat type,
                             QStringList roles);
    void on_setData_finished(const CMVoidReply& reply);

private:
    // Reads the parameters of the operation. If they are not valid, it answers and returns false.
    template <typename Operation>
    bool parse(Operation* operation);

    void getData();
    void getRows();
    void setData();
    // Called with the role `internal` of the node that is to be written.
    void checkInternal(const CMReply<QList<QVariant>>& reply, const CMPath& path,
                       const QString& role, const QVariant& value);
    void write(const CMPath& path, const QString& role, const QVariant& value);

    // The JSON text of a record that is shared with the worker's cache, and may be sent again.
    QByteArray sharedText(const PlixRowsRoles& answer, const QStringList& roles,
                          ResponseFormat format);

    void respondWithValue(const QVariant& value);
    void respondWithText(const QByteArray& json);
    void respondWithError(const CMError& error);
    // Answers with an error of the default name. Returns false, for callers that return bool.
    bool failWith(const QString& message);

    ResponderConfiguration m_configuration;
};
