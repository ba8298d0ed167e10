#include "tunnelguard.h"

#include <libsoup/soup.h>

#include <cstring>

namespace {

using SetProperty = decltype(GObjectClass::set_property);

SetProperty originalSetProperty = nullptr;

bool opensTunnel(GObject* message, const GValue* value, const GParamSpec* property) {
    if (std::strcmp(property->name, SOUP_MESSAGE_METHOD) != 0 ||
        g_strcmp0(g_value_get_string(value), "CONNECT") != 0)
        return false;
    gboolean received = FALSE;
    g_object_get(message, SOUP_MESSAGE_SERVER_SIDE, &received, nullptr);
    return received;
}

void setProperty(GObject* message, guint id, const GValue* value, GParamSpec* property) {
    if (!opensTunnel(message, value, property))
        return originalSetProperty(message, id, value, property);
    GValue other = G_VALUE_INIT;
    g_value_init(&other, G_TYPE_STRING);
    g_value_set_static_string(&other, "connect");
    originalSetProperty(message, id, &other, property);
    g_value_unset(&other);
}

} // namespace

void guardAgainstTunnels() {
    if (originalSetProperty)
        return;
    // The reference is kept: so is the change.
    auto* messageClass = G_OBJECT_CLASS(g_type_class_ref(SOUP_TYPE_MESSAGE));
    originalSetProperty = messageClass->set_property;
    messageClass->set_property = setProperty;
}
