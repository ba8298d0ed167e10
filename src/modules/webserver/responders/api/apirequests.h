// SPDX-License-Identifier: MIT
#pragma once

#include "responders/api/apiresponder.h"

#include <QString>
#include <QStringList>
#include <QVariant>

class ApiParameters;

// The requests of the API, one structure for each operation. read() fills one from the parameters;
// it returns a null text, or the message of the error with which the request is to be answered.

struct ApiGetDataRequest {
    QString path;
    QStringList roles;
    ApiResponder::ResponseFormat format = ApiResponder::Values;

    QString read(const ApiParameters& parameters);
};

struct ApiGetRowsRequest {
    QString path;
    QStringList roles;
    // The first and the last row.
    int from = 0;
    int to = 0;
    // The version that the list must have; -1 for any.
    int version = -1;
    ApiResponder::ResponseFormat format = ApiResponder::Values;

    QString read(const ApiParameters& parameters);
};

struct ApiSetDataRequest {
    QString path;
    QString role;
    QVariant value;

    QString read(const ApiParameters& parameters);
};
