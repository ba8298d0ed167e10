// SPDX-License-Identifier: MIT
#pragma once

#include "responders/responder.h"

// Answers requests below /file/stream/ with the files that are directly in the readable area, where
// the platform's workers place them.
class FileResponder : public Responder {
    Q_OBJECT

public:
    FileResponder(Request& request, const QString& documentRoot, QObject* parent = nullptr);

    void respond() override;
    bool respondWillBlock() override { return false; }
};
