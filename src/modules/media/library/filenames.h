// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

// Names of files, which are bytes, as text of the data model, and back. Bytes that are no UTF-8
// become the private characters U+EF80 to U+EFFF, one for each byte, so that every name has a text
// of its own; those characters in a name are treated as such bytes.
namespace FileNames {

QString toText(const QByteArray& name);
// Null for a text that no name has.
QByteArray toBytes(const QString& text);

// Both of a relative path; the folder is empty for a file directly in the root.
QByteArray folderOf(const QByteArray& path);
QByteArray nameOf(const QByteArray& path);

// By the ending of the name, in any case.
bool isAudio(const QByteArray& name);
bool isPlaylist(const QByteArray& name);
// The name without its ending.
QByteArray baseOf(const QByteArray& name);

// The absolute name without links; null when there is no such file.
QByteArray canonical(const QByteArray& path);

} // namespace FileNames
