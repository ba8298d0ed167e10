// SPDX-License-Identifier: MIT
#pragma once

#include "mediacatalogue.h"

#include <functional>

// The lists below media:/ with their rows, of a catalogue.
namespace CatalogueLists {

// Of the worker's paths.
QString root();

// The rows of a list, made when they are asked for. Valid as long as the catalogue.
struct List {
    int count = 0;
    // The values of a row, in the order of the roles.
    std::function<QVariantList(int, const QStringList& roles)> row;
};

// Of the text of a search, which is longer than anybody types.
constexpr int maximumSearchText = 200;

// The lists that every catalogue has beside media:/ itself: their names in the path, and titles.
QVector<QPair<QString, QString>> titles();

// Null when there is no such list.
std::optional<List> find(const MediaCatalogue& catalogue, const QString& path);
// The roles of the track, the station or the list below another at the path; empty when there is
// none.
QVariantHash node(const MediaCatalogue& catalogue, const QString& path);

} // namespace CatalogueLists
