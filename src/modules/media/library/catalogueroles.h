// SPDX-License-Identifier: MIT
#pragma once

#include "mediacatalogue.h"

// The roles of the nodes and rows that a catalogue gives.
namespace CatalogueRoles {

// "media:/" and the rest.
QString path(const QString& rest);

QVariantHash track(const MediaCatalogue& catalogue, int index);
// Some of them, faster: clients and workers ask for thousands of tracks at once.
QVariantList track(const MediaCatalogue& catalogue, int index, const QStringList& roles);
QVariantHash album(const MediaCatalogue& catalogue, const QString& id);
QVariantHash artist(const MediaCatalogue& catalogue, const QString& id);
QVariantHash genre(const MediaCatalogue& catalogue, const QString& id);
QVariantHash folder(const QByteArray& path);
// As a row, whose value is the path of the node.
QVariantHash stationRow(const Station& station);
// As a node, whose value is the URL.
QVariantHash stationNode(const Station& station);
QVariantHash container(const QString& title, const QString& path);

} // namespace CatalogueRoles
