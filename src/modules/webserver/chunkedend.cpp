#include "chunkedend.h"

#include "glibptr.h"

namespace {

GOutputStreamClass* bodyStreamClass = nullptr;
decltype(GOutputStreamClass::close_async) closeInThread = nullptr;

void closeInPlace(GOutputStream* stream, int priority, GCancellable* cancellable,
                  GAsyncReadyCallback callback, gpointer data) {
    if (!g_pollable_output_stream_is_writable(G_POLLABLE_OUTPUT_STREAM(stream)))
        return closeInThread(stream, priority, cancellable, callback, data);
    const auto task = GObjectPtr<GTask>::adopt(g_task_new(stream, cancellable, callback, data));
    GError* error = nullptr;
    if (bodyStreamClass->close_fn(stream, cancellable, &error))
        g_task_return_boolean(task.get(), TRUE);
    else
        g_task_return_error(task.get(), error);
}

} // namespace

void endChunkedBodiesInPlace() {
    if (bodyStreamClass)
        return;
    // Known to the type system by then, although libsoup's headers do not show it.
    const GType type = g_type_from_name("SoupBodyOutputStream");
    if (!g_type_is_a(type, G_TYPE_OUTPUT_STREAM) ||
        !g_type_is_a(type, G_TYPE_POLLABLE_OUTPUT_STREAM))
        return;
    bodyStreamClass = static_cast<GOutputStreamClass*>(g_type_class_ref(type));
    closeInThread = bodyStreamClass->close_async;
    bodyStreamClass->close_async = closeInPlace;
    // A stream that closes by itself would be flushed first, in a thread as well. It holds nothing
    // back, and closing flushes it too.
    bodyStreamClass->flush_async = nullptr;
}
