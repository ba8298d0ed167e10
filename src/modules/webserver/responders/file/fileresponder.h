#pragma once

#include "responders/responder.h"

// Answers /file/stream/ requests with the files that the platform's workers have placed directly
// in the readable area.
class FileResponder : public Responder {
    Q_OBJECT

public:
    FileResponder(Request& request, const QString& documentRoot, QObject* parent = nullptr);

    void respond() override;
    bool respondWillBlock() override { return false; }
};
