// SPDX-License-Identifier: MIT
#include "core/model/cmvalueitem.h"

#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalues.h"
#include "core/plixconnect.h"

CMValueItem::CMValueItem(QObject* parent, const CMPath& path, QObject* receiver, const char* slot,
                         Qt::ConnectionType type)
    : QObject(parent), m_path(path) {
    plixConnect(this, SIGNAL(changed(PlixValue)), receiver, slot, type);
    plixConnect(receiver, &QObject::destroyed, this, &QObject::deleteLater);
    if (CMRoot())
        CMRoot()->connectValueChange(path, this, SLOT(on_root_valueChanged(PlixValue)));
    // Queued, so that the receiver's constructor has ended when its slot is called.
    QMetaObject::invokeMethod(this, &CMValueItem::readPresentValue, Qt::QueuedConnection);
}

CMValueItem::~CMValueItem() = default;

void CMValueItem::on_root_valueChanged(const PlixValue& value) {
    m_delivered = true;
    Q_EMIT changed(value);
}

void CMValueItem::readPresentValue() {
    if (m_delivered || !CMRoot())
        return;
    const CMReply<QList<QVariant>> reply;
    CMRoot()->getData(m_path, {PlixRolesType::Value()}, reply);
    reply.onFinished(this, [this](const CMReply<QList<QVariant>>& answer) {
        const QVariant value = answer.value().value(0);
        // A change that was delivered before this reply is newer.
        if (!m_delivered && !answer.error() && value.isValid())
            on_root_valueChanged(CMValues::record(value));
    });
}
