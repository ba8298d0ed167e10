// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "playertrack.h"

// The nodes that show what the player does, and take what it is to do.
//
//   player:player/state     "stopped", "playing", "paused"
//   player:player/volume    0 to 100; mute: a boolean
//   player:player/repeat    "off", "one": the track, "all": the queue
//   player:player/shuffle   a boolean: the rows are played in random order
//   player:player/error     why the latest track could not be played, or not to its end, in plain
//                           words; empty from the next command or the next track on that is played
//   player:player/position  milliseconds; exact when it is read, announced at jumps, when the state
//                           changes and every ten seconds while a track is played
//   player:player/progress  {"position": milliseconds, "time": when that was so, in milliseconds
//                           since 1970 by the device's clock, "running": whether it goes on};
//                           announced and read like the position
//   player:player/duration  milliseconds; 0 when unknown or endless
//   player:player/track     {title, artist, path, cover, duration, id} of the current track;
//                           its role description has title and artist as one text
//   player:queue            rows: the queue, with the roles of its tracks, and each with an id,
//                           which stays with the row and is never given to another one
namespace PlayerNodes {

extern const QString state;
extern const QString volume;
extern const QString mute;
extern const QString repeat;
extern const QString shuffle;
extern const QString error;
extern const QString position;
extern const QString progress;
extern const QString duration;
extern const QString track;
extern const QString queue;

// Creates the nodes, and one that can be activated for each path in `actions`. Does not change
// roles that the configuration has set.
void provide(CMNodesWorker* worker, const QStringList& actions);

void showTrack(CMNodesWorker* worker, const PlayerTrack& track);
void showError(CMNodesWorker* worker, const QString& text);
void showPosition(CMNodesWorker* worker, qint64 position, bool isRunning);
PlixValue positionValue(qint64 position);
QVariantHash progressRecord(qint64 position, bool isRunning);

} // namespace PlayerNodes
