// SPDX-License-Identifier: MIT
#include "playernodes.h"

#include "core/model/cmroles.h"
#include "core/model/cmroot.h"

#include <QDateTime>

const QString PlayerNodes::state = QStringLiteral("player:player/state");
const QString PlayerNodes::volume = QStringLiteral("player:player/volume");
const QString PlayerNodes::mute = QStringLiteral("player:player/mute");
const QString PlayerNodes::repeat = QStringLiteral("player:player/repeat");
const QString PlayerNodes::shuffle = QStringLiteral("player:player/shuffle");
const QString PlayerNodes::error = QStringLiteral("player:player/error");
const QString PlayerNodes::position = QStringLiteral("player:player/position");
const QString PlayerNodes::progress = QStringLiteral("player:player/progress");
const QString PlayerNodes::duration = QStringLiteral("player:player/duration");
const QString PlayerNodes::track = QStringLiteral("player:player/track");
const QString PlayerNodes::queue = QStringLiteral("player:queue");

namespace {

// The volume of the device's settings.
int volumeAtStart() {
    constexpr int otherwise = 30;
    const PlixValue setting(
        CMRoot()
            ->getValue(CMPath::fromEncoded(QStringLiteral("settings:/player/volume")))
            .toHash());
    return setting.isEmpty() ? otherwise : qBound(0, setting.i32_(), 100);
}

void provideNode(CMNodesWorker* worker, const QString& path, const QVariantHash& roles) {
    QVariantHash missing;
    for (auto entry = roles.begin(); entry != roles.end(); ++entry) {
        if (!worker->role(path, entry.key()).isValid())
            missing.insert(entry.key(), *entry);
    }
    worker->setNode(path, missing);
}

// Of a node that clients cannot write, because it shows the player's state.
void provideDisplay(CMNodesWorker* worker, const QString& path, const char* title,
                    const QString& description = {}) {
    QVariantHash roles{{PlixRoles::Title(), QString::fromLatin1(title)}};
    if (!description.isEmpty())
        roles.insert(PlixRoles::Description(), description);
    provideNode(worker, path, roles);
    worker->setRole(path, PlixRoles::Modifiable(), false);
}

} // namespace

void PlayerNodes::provide(CMNodesWorker* worker, const QStringList& actions) {
    const QString title = PlixRoles::Title();
    provideNode(worker, volume,
                {{title, QStringLiteral("Volume")},
                 {PlixRolesType::Value(), PlixValue::fromScalar(volumeAtStart()).__variant()},
                 {PlixRoles::Minimum(), 0},
                 {PlixRoles::Maximum(), 100}});
    provideNode(worker, mute,
                {{title, QStringLiteral("Mute")},
                 {PlixRolesType::Value(), PlixValue::fromScalar(false).__variant()}});
    provideNode(
        worker, repeat,
        {{title, QStringLiteral("Repeat")},
         {PlixRolesType::Value(), PlixValue::fromScalar(QStringLiteral("off")).__variant()}});
    provideNode(worker, shuffle,
                {{title, QStringLiteral("Shuffle")},
                 {PlixRolesType::Value(), PlixValue::fromScalar(false).__variant()}});
    const QString milliseconds = QStringLiteral("Milliseconds");
    provideDisplay(worker, state, "State");
    provideDisplay(worker, position, "Position", milliseconds);
    provideDisplay(worker, duration, "Duration", milliseconds);
    provideDisplay(worker, progress, "Progress");
    provideDisplay(worker, track, "Track");
    provideDisplay(worker, queue, "Queue");
    provideDisplay(worker, error, "Error");
    showError(worker, {});
    for (const QString& path : actions) {
        const QString name = path.section('/', 1);
        provideNode(worker, path,
                    {{title, name.left(1).toUpper() + name.mid(1)},
                     {PlixRoles::Type(), QStringLiteral("action")},
                     {PlixRoles::Activate(), true},
                     {PlixRoles::Modifiable(), false}});
    }
}

void PlayerNodes::showTrack(CMNodesWorker* worker, const PlayerTrack& shown) {
    worker->setRole(track, PlixRolesType::Value(), shown.record());
    worker->setRole(track, PlixRoles::Description(), shown.line());
    worker->setValue(duration, positionValue(shown.durationMs));
}

void PlayerNodes::showError(CMNodesWorker* worker, const QString& text) {
    worker->setValue(error, PlixValue::fromScalar(text));
}

void PlayerNodes::showPosition(CMNodesWorker* worker, qint64 now, bool isRunning) {
    worker->setValue(position, positionValue(now));
    worker->setRole(progress, PlixRolesType::Value(), progressRecord(now, isRunning));
}

PlixValue PlayerNodes::positionValue(qint64 now) {
    PlixValue value;
    value.setI64_(now);
    return value;
}

QVariantHash PlayerNodes::progressRecord(qint64 now, bool isRunning) {
    return {{QStringLiteral("position"), now},
            {QStringLiteral("time"), QDateTime::currentMSecsSinceEpoch()},
            {QStringLiteral("running"), isRunning}};
}
