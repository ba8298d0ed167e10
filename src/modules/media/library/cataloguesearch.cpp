// SPDX-License-Identifier: MIT
#include "cataloguesearch.h"

#include "searchtext.h"

#include <algorithm>

CatalogueSearch::CatalogueSearch(const MediaCatalogue& catalogue, const QString& text)
    : m_catalogue(catalogue) {
    const QList<QByteArray> words = searchText(text).simplified().split(' ');
    for (const QByteArray& word : words) {
        if (!word.isEmpty())
            m_words.append(QByteArrayMatcher(word));
    }
}

QStringList CatalogueSearch::artists() const {
    return matching(m_catalogue.artists(), [](const auto& artist) { return artist.name; });
}

QStringList CatalogueSearch::albums() const {
    return matching(m_catalogue.albums(),
                    [](const auto& album) { return album.title + ' ' + album.artist; });
}

MediaCatalogue::Tracks CatalogueSearch::tracks() const {
    MediaCatalogue::Tracks byTitle;
    MediaCatalogue::Tracks others;
    for (int index = 0; index < m_catalogue.size() && !m_words.isEmpty(); ++index) {
        const QByteArray& text = m_catalogue.track(index).searched;
        if (!matches(text, text.size()))
            continue;
        const bool isTitle = matches(text, text.indexOf('\n'));
        (isTitle ? byTitle : others).append(index);
    }
    return byTitle + others;
}

bool CatalogueSearch::matches(const QByteArray& text, int length) const {
    return std::all_of(m_words.begin(), m_words.end(), [&](const QByteArrayMatcher& word) {
        return word.indexIn(text.constData(), length) >= 0;
    });
}

template <typename Group, typename Name>
QStringList CatalogueSearch::matching(const MediaCatalogue::Groups<Group>& groups,
                                      Name name) const {
    QStringList ids;
    for (const QString& id : groups.order) {
        if (m_words.isEmpty())
            break;
        const QByteArray text = searchText(name(*groups.byId.constFind(id)));
        if (matches(text, text.size()))
            ids.append(id);
    }
    return ids;
}
