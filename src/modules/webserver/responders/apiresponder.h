#pragma once

#include "core/model/cmerror.h"
#include "core/model/cmreply.h"
#include "responders/responder.h"
#include "responders/responderconfiguration.h"

#include <QStringList>
#include <QVariant>

// Answers the JSON API to the data model: /api/getData, /api/getRows, /api/setData.
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
};
