// SPDX-License-Identifier: MIT
#include "responders/page/pagetexts.h"

#include "core/dbglog.h"
#include "core/plixjson.h"

#include <QFile>
#include <QRegularExpression>
#include <QVariantHash>

namespace {

const QString english = QStringLiteral("en");

QVariantHash readCatalogue(const QString& documentRoot, const QString& language) {
    QFile file(documentRoot + QStringLiteral("/lang/") + language + QStringLiteral(".json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    PlixError error;
    const QVariant texts = PlixJson::parse(file.readAll(), error);
    if (!error.isEmpty())
        dbglog_error("No texts of " << file.fileName() << ": " << error.message());
    return texts.toHash();
}

// Clients can write the setting, so that it must not lead out of the folder.
QString catalogueName(const QString& language) {
    static const QRegularExpression code(QStringLiteral("^[a-z]{2,8}$"));
    const QString first = language.section(QLatin1Char('-'), 0, 0);
    return code.match(first).hasMatch() ? first : english;
}

} // namespace

QMap<QString, QString> pageTexts(const QString& documentRoot, const QString& language) {
    const QVariantHash original = readCatalogue(documentRoot, english);
    const QString name = catalogueName(language);
    const QVariantHash translated =
        name == english ? QVariantHash() : readCatalogue(documentRoot, name);
    QMap<QString, QString> texts;
    for (auto text = original.begin(); text != original.end(); ++text)
        texts.insert(text.key(), translated.value(text.key(), *text).toString());
    if (!texts.isEmpty())
        texts.insert(QStringLiteral("@lang"), translated.isEmpty() ? english : name);
    return texts;
}
