// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmpath.h"
#include "core/plixvalue.h"
#include "plixexport.h"

#include <QObject>

// Follows one node's value. Calls the slot (a SLOT() text of a slot that takes a PlixValue) with
// the present value on the next turn of the event loop, if there is one, and then whenever the
// value changes. Deleted with its parent or its receiver, whichever is deleted first.
class PLIX_EXPORT CMValueItem : public QObject {
    Q_OBJECT

public:
    CMValueItem(QObject* parent, const CMPath& path, QObject* receiver, const char* slot,
                Qt::ConnectionType type = Qt::AutoConnection);
    ~CMValueItem() override;

Q_SIGNALS:
    void changed(const PlixValue& value);

private Q_SLOTS:
    void on_root_valueChanged(const PlixValue& value);
    void readPresentValue();

private:
    CMPath m_path;
    bool m_delivered = false;
};
