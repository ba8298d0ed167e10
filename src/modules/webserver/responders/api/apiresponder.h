// responders/api/: The JSON API to the data model.
#pragma once

#include "core/model/cmpath.h"
#include "core/model/cmrequest.h"
#include "responders/api/responderconfiguration.h"
#include "responders/responder.h"

#include <QStringList>
#include <QVariant>

// Answers the JSON API to the data model: /api/getData, /api/getRows and /api/setData, by GET with
// query items or by POST with a form or a JSON object. Nodes and rows that the data model marks
// internal are hidden. Every failure is answered with status 500 and {"error": <record>}.
class ApiResponder : public Responder {
    Q_OBJECT

public:
    // How an answer gives a node's or row's values: as an array in the order of the roles, or as
    // an object by role.
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
    // Reads the operation's parameters. False, and answered, when they are not as they have to be.
    template <typename Operation>
    bool parse(Operation* operation);

    void getData();
    void getRows();
    void setData();
    // The answer to the question whether the node that is to be written is internal.
    void checkInternal(const CMReply<QList<QVariant>>& reply, const CMPath& path,
                       const QString& role, const QVariant& value);
    void write(const CMPath& path, const QString& role, const QVariant& value);

    // The text of an answer that others hold too, and that may come again.
    QByteArray sharedText(const PlixRowsRoles& answer, const QStringList& roles,
                          ResponseFormat format);

    void respondWithValue(const QVariant& value);
    void respondWithText(const QByteArray& json);
    void respondWithError(const CMError& error);
    // Answers with an error of the default name; false, so that parsers can return it.
    bool failWith(const QString& message);

    ResponderConfiguration m_configuration;
};
