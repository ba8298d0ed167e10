// SPDX-License-Identifier: MIT
#include "connection/exchangestream.h"

namespace {

// What the streams share. A source that waits for it fires when its time is set.
struct Direction {
    ExchangeStream::Peer* peer = nullptr;
    GSource* waiting = nullptr;

    void wake() {
        if (!waiting)
            return;
        g_source_set_ready_time(waiting, 0);
        forget();
    }
    void forget() {
        if (waiting)
            g_source_unref(waiting);
        waiting = nullptr;
    }
    bool isWaiting() const { return waiting && !g_source_is_destroyed(waiting); }
    GSource* newSource(gpointer stream, GCancellable* cancellable, bool isReady) {
        GSource* source = g_pollable_source_new_full(stream, nullptr, cancellable);
        forget();
        // Without a peer the next operation fails at once.
        if (isReady || !peer)
            g_source_set_ready_time(source, 0);
        else
            waiting = g_source_ref(source);
        return source;
    }
};

struct PlixExchangeInput {
    GInputStream parent;
    Direction direction;
};
struct PlixExchangeOutput {
    GOutputStream parent;
    Direction direction;
};
struct PlixExchangeStream {
    GIOStream parent;
    PlixExchangeInput* input;
    PlixExchangeOutput* output;
};
struct PlixExchangeInputClass {
    GInputStreamClass parent;
};
struct PlixExchangeOutputClass {
    GOutputStreamClass parent;
};
struct PlixExchangeStreamClass {
    GIOStreamClass parent;
};

gssize failClosed(GError** error) {
    g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_CLOSED, "The connection has ended");
    return -1;
}

gssize readNonblocking(GPollableInputStream* stream, void* buffer, gsize size, GError** error) {
    auto* peer = reinterpret_cast<PlixExchangeInput*>(stream)->direction.peer;
    return peer ? peer->on_stream_read(static_cast<char*>(buffer), size, error) : failClosed(error);
}

gssize readBlocking(GInputStream* stream, void* buffer, gsize size, GCancellable*, GError** error) {
    return readNonblocking(G_POLLABLE_INPUT_STREAM(stream), buffer, size, error);
}

gboolean isReadable(GPollableInputStream* stream) {
    const auto* peer = reinterpret_cast<PlixExchangeInput*>(stream)->direction.peer;
    return !peer || peer->isReadable();
}

GSource* createReadSource(GPollableInputStream* stream, GCancellable* cancellable) {
    return reinterpret_cast<PlixExchangeInput*>(stream)->direction.newSource(stream, cancellable,
                                                                             isReadable(stream));
}

gssize writeNonblocking(GPollableOutputStream* stream, const void* data, gsize size,
                        GError** error) {
    auto* peer = reinterpret_cast<PlixExchangeOutput*>(stream)->direction.peer;
    return peer ? peer->on_stream_write(static_cast<const char*>(data), size, error)
                : failClosed(error);
}

gssize writeBlocking(GOutputStream* stream, const void* data, gsize size, GCancellable*,
                     GError** error) {
    return writeNonblocking(G_POLLABLE_OUTPUT_STREAM(stream), data, size, error);
}

gboolean isWritable(GPollableOutputStream* stream) {
    const auto* peer = reinterpret_cast<PlixExchangeOutput*>(stream)->direction.peer;
    return !peer || peer->isWritable();
}

GSource* createWriteSource(GPollableOutputStream* stream, GCancellable* cancellable) {
    return reinterpret_cast<PlixExchangeOutput*>(stream)->direction.newSource(stream, cancellable,
                                                                              isWritable(stream));
}

void inputInterface(GPollableInputStreamInterface* functions) {
    functions->is_readable = isReadable;
    functions->create_source = createReadSource;
    functions->read_nonblocking = readNonblocking;
}

void outputInterface(GPollableOutputStreamInterface* functions) {
    functions->is_writable = isWritable;
    functions->create_source = createWriteSource;
    functions->write_nonblocking = writeNonblocking;
}

G_DEFINE_TYPE_WITH_CODE(PlixExchangeInput, plix_exchange_input, G_TYPE_INPUT_STREAM,
                        G_IMPLEMENT_INTERFACE(G_TYPE_POLLABLE_INPUT_STREAM, inputInterface))
G_DEFINE_TYPE_WITH_CODE(PlixExchangeOutput, plix_exchange_output, G_TYPE_OUTPUT_STREAM,
                        G_IMPLEMENT_INTERFACE(G_TYPE_POLLABLE_OUTPUT_STREAM, outputInterface))
G_DEFINE_TYPE(PlixExchangeStream, plix_exchange_stream, G_TYPE_IO_STREAM)

void plix_exchange_input_init(PlixExchangeInput*) {}
void plix_exchange_output_init(PlixExchangeOutput*) {}
void plix_exchange_stream_init(PlixExchangeStream*) {}

void plix_exchange_input_class_init(PlixExchangeInputClass* type) {
    type->parent.read_fn = readBlocking;
}

void plix_exchange_output_class_init(PlixExchangeOutputClass* type) {
    type->parent.write_fn = writeBlocking;
}

void detach(PlixExchangeStream* stream) {
    for (Direction* direction : {&stream->input->direction, &stream->output->direction}) {
        direction->peer = nullptr;
        direction->wake();
    }
}

gboolean closeStream(GIOStream* base, GCancellable*, GError**) {
    auto* stream = reinterpret_cast<PlixExchangeStream*>(base);
    ExchangeStream::Peer* peer = stream->input->direction.peer;
    detach(stream);
    if (peer)
        peer->on_stream_closed();
    return TRUE;
}

void plix_exchange_stream_dispose(GObject* object) {
    auto* stream = reinterpret_cast<PlixExchangeStream*>(object);
    // Closes it.
    G_OBJECT_CLASS(plix_exchange_stream_parent_class)->dispose(object);
    g_clear_object(&stream->input);
    g_clear_object(&stream->output);
}

void plix_exchange_stream_class_init(PlixExchangeStreamClass* type) {
    type->parent.get_input_stream = [](GIOStream* stream) {
        return &reinterpret_cast<PlixExchangeStream*>(stream)->input->parent;
    };
    type->parent.get_output_stream = [](GIOStream* stream) {
        return &reinterpret_cast<PlixExchangeStream*>(stream)->output->parent;
    };
    type->parent.close_fn = closeStream;
    G_OBJECT_CLASS(type)->dispose = plix_exchange_stream_dispose;
}

PlixExchangeStream* streamOf(GIOStream* stream) {
    return reinterpret_cast<PlixExchangeStream*>(stream);
}

} // namespace

ExchangeStream::ExchangeStream(Peer* peer) {
    auto* stream =
        static_cast<PlixExchangeStream*>(g_object_new(plix_exchange_stream_get_type(), nullptr));
    stream->input =
        static_cast<PlixExchangeInput*>(g_object_new(plix_exchange_input_get_type(), nullptr));
    stream->output =
        static_cast<PlixExchangeOutput*>(g_object_new(plix_exchange_output_get_type(), nullptr));
    stream->input->direction.peer = peer;
    stream->output->direction.peer = peer;
    m_stream = GObjectPtr<GIOStream>::adopt(&stream->parent);
}

ExchangeStream::~ExchangeStream() {
    detach(streamOf(m_stream.get()));
}

void ExchangeStream::wakeReader() {
    streamOf(m_stream.get())->input->direction.wake();
}

void ExchangeStream::wakeWriter() {
    streamOf(m_stream.get())->output->direction.wake();
}

bool ExchangeStream::hasReader() const {
    return streamOf(m_stream.get())->input->direction.isWaiting();
}

bool ExchangeStream::hasWriter() const {
    return streamOf(m_stream.get())->output->direction.isWaiting();
}
