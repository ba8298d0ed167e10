// SPDX-License-Identifier: MIT
#pragma once

#include <QMap>
#include <QString>

// The texts of the pages in a language, for template pages: from the catalogues below the document
// root, "lang/en.json" and "lang/LANGUAGE.json", JSON objects that map the English wording to that
// of the language. The English catalogue decides which texts there are; what the other one lacks is
// in English. "de-AT" uses "lang/de.json". The text "@lang" is the language that was found.
//
// Empty without an English catalogue.
QMap<QString, QString> pageTexts(const QString& documentRoot, const QString& language);
