#include "hangupwatch.h"

#include "message.h"

#include <poll.h>

namespace {

struct HangUpSource {
    GSource base;
    GPollFD descriptor;
};

gboolean isReady(GSource* source) {
    return reinterpret_cast<HangUpSource*>(source)->descriptor.revents != 0;
}

gboolean dispatch(GSource*, GSourceFunc callback, void* data) {
    return callback(data);
}

} // namespace

HangUpWatch::HangUpWatch(const Message& message, QObject* parent) : QObject(parent) {
    static GSourceFuncs functions{nullptr, isReady, dispatch, nullptr, nullptr, nullptr};
    GSocket* socket = soup_client_context_get_gsocket(message.data().client);
    if (!socket)
        return;
    // The hang-up shows even behind bytes that nobody has read, a next request or the farewell of
    // TLS. A GIOCondition has no name for it.
    m_source.reset(g_source_new(&functions, sizeof(HangUpSource)));
    GPollFD* descriptor = &reinterpret_cast<HangUpSource*>(m_source.get())->descriptor;
    *descriptor = {g_socket_get_fd(socket), POLLRDHUP, 0};
    g_source_add_poll(m_source.get(), descriptor);
    g_source_set_callback(m_source.get(), on_source_dispatched, this, nullptr);
    g_source_attach(m_source.get(), nullptr);
}

gboolean HangUpWatch::on_source_dispatched(void* self) {
    Q_EMIT static_cast<HangUpWatch*>(self)->hungUp();
    return G_SOURCE_REMOVE;
}
