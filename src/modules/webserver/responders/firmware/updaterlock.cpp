// SPDX-License-Identifier: MIT
#include "responders/firmware/updaterlock.h"

namespace {

std::weak_ptr<UpdaterUse>& holder() {
    static std::weak_ptr<UpdaterUse> use;
    return use;
}

} // namespace

UpdaterLock lockUpdater(const QString& client, qint64 length) {
    if (!holder().expired())
        return {};
    auto lock = std::make_shared<UpdaterUse>();
    lock->client = client;
    lock->length = length;
    lock->since.start();
    holder() = lock;
    return lock;
}

QString updaterUseText() {
    const UpdaterLock use = holder().lock();
    if (!use)
        return {};
    // A duration and no time of day, because the clock of a device may be wrong.
    const QString text = QStringLiteral("It comes from %1 and began %2 s ago; %3 bytes%4 have "
                                        "arrived.\n");
    const QString total = use->length < 0 ? QString("") : QStringLiteral(" of %1").arg(use->length);
    return text.arg(use->client, QString::number(use->since.elapsed() / 1000),
                    QString::number(use->bytes), total);
}
