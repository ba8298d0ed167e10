// SPDX-License-Identifier: MIT
#pragma once

#include "mediacatalogue.h"

#include <QByteArrayMatcher>

// What a text finds in a catalogue: everything of which each word of the text is a part, whatever
// the case and accents. Nothing for a text without words.
class CatalogueSearch {
public:
    CatalogueSearch(const MediaCatalogue& catalogue, const QString& text);

    // Ids, in the order of the names.
    QStringList artists() const;
    QStringList albums() const;
    // By the title, artists and album. Those found by their title alone come first.
    MediaCatalogue::Tracks tracks() const;

private:
    bool matches(const QByteArray& text, int length) const;
    template <typename Group, typename Name>
    QStringList matching(const MediaCatalogue::Groups<Group>& groups, Name name) const;

    const MediaCatalogue& m_catalogue;
    QVector<QByteArrayMatcher> m_words;
};
