// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmerror.h"
#include "core/plixhttprequest.h"
#include "playertrack.h"

#include <QVector>

#include <functional>

class QObject;

// Asks other workers for tracks. Nothing is called back once the context has been deleted.
namespace TrackFinder {

// The role `type` of tracks.
QString trackType();

// The track of the node at the path; an error when there is none that may be shown.
void find(const QString& path, QObject* context,
          const std::function<void(const PlayerTrack& track, const CMError& error)>& found);
// The same with the track's present path, if it has been moved.
void findPresent(const QString& path, QObject* context,
                 const std::function<void(const PlayerTrack& track, const CMError& error)>& found);
// The node with the roles of a track, whatever its type is, and the type.
void findNode(const QString& path, QObject* context,
              const std::function<void(const PlayerTrack& track, const QString& type,
                                       const CMError& error)>& found);
// Those of the media worker's list that may be shown, at most `maximum`. Nothing is called back
// without a media worker.
void findAll(int maximum, QObject* context,
             const std::function<void(const QVector<PlayerTrack>& tracks)>& found);
// Where the sound of the track at the path, or of the stream at the URL, is: the URI of a local
// file, or of a stream on the network. Empty, with the reason in plain words, when it is nowhere.
void locate(const QString& path, QObject* context,
            const std::function<void(const QString& uri, const QString& reason)>& found);
bool isRemote(const QString& uri);
// What locate() gives for a track that its worker produces: it has no file, but may write into a
// pipe.
QString producedUri();
QString fileUri(const QString& fileName);
// Asks the worker of the path as the web server does for a client. `pipe`: a FIFO that is open to
// read; empty for none.
void askForSound(
    const QString& path, const QString& pipe, QObject* context,
    const std::function<void(const PlixHttpRequestReply& answer, const CMError& error)>& done);
// Calls the SLOT() of the receiver when that list changes.
void follow(QObject* receiver, const char* slot);

} // namespace TrackFinder
