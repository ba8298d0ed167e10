// SPDX-License-Identifier: MIT

// JSON text to values and back.
#include "core/plixjson.h"
#include "property.h"

namespace {

// What serialising gives reads back as the same, whatever the value was.
template <typename Text>
QByteArray checkParse(const Text& text) {
    PlixError error;
    unsigned int position = 0;
    const QVariant value = PlixJson::parse(text, error, &position);
    if (!error.isEmpty()) {
        FUZZ_CHECK(!value.isValid() && !error.message().isEmpty());
        FUZZ_CHECK(position <= static_cast<unsigned int>(text.size()));
        return {};
    }
    const QByteArray serialized = PlixJson::serialize(value);
    const QVariant again = PlixJson::parse(serialized, error);
    FUZZ_CHECK(error.isEmpty() && again == value && PlixJson::serialize(again) == serialized);
    return serialized;
}

void checkEscape(const QString& text) {
    PlixError error;
    const QVariant parsed = PlixJson::parse('"' + PlixJson::escape(text) + '"', error);
    // Surrogates without a partner are replaced by a character that is as long.
    FUZZ_CHECK(error.isEmpty() && parsed.toString().size() == text.size());
    FUZZ_CHECK(!text.isValidUtf16() || parsed.toString() == text);
}

} // namespace

void fuzz(const QByteArray& input) {
    const QByteArray fromBytes = checkParse(input);
    const QString text = QString::fromUtf8(input.constData(), input.size());
    // Otherwise the conversion has dropped a byte order mark or replaced something.
    if (text.toUtf8() == input)
        FUZZ_CHECK(checkParse(text) == fromBytes);

    const QString units(reinterpret_cast<const QChar*>(QByteArray(input).constData()),
                        input.size() / 2);
    checkParse(units);
    checkEscape(units);
}
