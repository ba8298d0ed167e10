// SPDX-License-Identifier: MIT
#include "libraryprogress.h"

namespace {

using State = LibraryProgress::State;

QString name(State state) {
    switch (state) {
    case State::Off:
        return QStringLiteral("off");
    case State::Idle:
        return QStringLiteral("idle");
    case State::Scanning:
        return QStringLiteral("scanning");
    case State::Cancelled:
        return QStringLiteral("cancelled");
    case State::Away:
        return QStringLiteral("away");
    case State::Broken:
        return QStringLiteral("broken");
    }
    return {};
}

} // namespace

QVariantHash LibraryProgress::value() const {
    return {{QStringLiteral("state"), name(state)},
            {QStringLiteral("found"), found},
            {QStringLiteral("read"), read},
            {QStringLiteral("failed"), failed}};
}
