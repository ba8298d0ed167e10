// SPDX-License-Identifier: MIT
#include "failuretext.h"

namespace {

QString resourceText(const GError* error) {
    switch (error->code) {
    case GST_RESOURCE_ERROR_NOT_FOUND:
        return QStringLiteral("It is not there any more");
    case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
        return QStringLiteral("It may not be read");
    case GST_RESOURCE_ERROR_OPEN_READ:
    case GST_RESOURCE_ERROR_READ:
    case GST_RESOURCE_ERROR_SEEK:
        return QStringLiteral("It cannot be read");
    default:
        return QString::fromUtf8(error->message);
    }
}

QString streamText(const GError* error) {
    switch (error->code) {
    case GST_STREAM_ERROR_TYPE_NOT_FOUND:
    case GST_STREAM_ERROR_WRONG_TYPE:
        return QStringLiteral("It contains no music in a known format");
    case GST_STREAM_ERROR_CODEC_NOT_FOUND:
        return QStringLiteral("A decoder for its format is not installed");
    case GST_STREAM_ERROR_FAILED:
    case GST_STREAM_ERROR_DECODE:
    case GST_STREAM_ERROR_DEMUX:
    case GST_STREAM_ERROR_FORMAT:
        return QStringLiteral("It is damaged");
    case GST_STREAM_ERROR_DECRYPT:
    case GST_STREAM_ERROR_DECRYPT_NOKEY:
        return QStringLiteral("It is encrypted");
    default:
        return QString::fromUtf8(error->message);
    }
}

} // namespace

QString failureText(const GError* error, bool isOutput) {
    if (isOutput)
        return QStringLiteral("The sound output does not work: %1")
            .arg(QString::fromUtf8(error->message));
    if (error->domain == GST_RESOURCE_ERROR)
        return resourceText(error);
    if (error->domain == GST_STREAM_ERROR)
        return streamText(error);
    if (error->domain == GST_CORE_ERROR && error->code == GST_CORE_ERROR_MISSING_PLUGIN)
        return QStringLiteral("A decoder for its format is not installed");
    return QString::fromUtf8(error->message);
}

QString missingPluginText(GstMessage* message) {
    const GstStructure* structure = gst_message_get_structure(message);
    if (!structure || !gst_structure_has_name(structure, "missing-plugin"))
        return {};
    const char* name = gst_structure_get_string(structure, "name");
    return QStringLiteral("This is not installed: %1").arg(QString::fromUtf8(name ? name : "?"));
}
