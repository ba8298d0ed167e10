// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>

#include <memory>
#include <utility>

// Owning pointers for GLib's types. No other code calls a function that frees or unreferences.

template <auto freeFunction>
struct GFree {
    template <typename T>
    void operator()(T* pointer) const {
        freeFunction(pointer);
    }
};

using GCharPtr = std::unique_ptr<char, GFree<g_free>>;
using GChecksumPtr = std::unique_ptr<GChecksum, GFree<g_checksum_free>>;
using GMainContextPtr = std::unique_ptr<GMainContext, GFree<g_main_context_unref>>;
using GMappedFilePtr = std::unique_ptr<GMappedFile, GFree<g_mapped_file_unref>>;

// Destroys a source: removes it from its main context and drops the reference.
struct GSourceDestroy {
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
using ScopedSource = std::unique_ptr<GSource, GSourceDestroy>;

// A counted pointer to a GObject. A raw pointer becomes one only by adopt(), which takes over the
// caller's reference, or share(), which takes a reference of its own.
template <typename T>
class GObjectPtr {
public:
    GObjectPtr() = default;
    static GObjectPtr adopt(T* object) { return GObjectPtr(object); }
    static GObjectPtr share(T* object) {
        return GObjectPtr(object ? static_cast<T*>(g_object_ref(object)) : nullptr);
    }

    GObjectPtr(const GObjectPtr& other) : GObjectPtr(share(other.m_object)) {}
    GObjectPtr(GObjectPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    GObjectPtr& operator=(GObjectPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~GObjectPtr() {
        if (m_object)
            g_object_unref(m_object);
    }

    T* get() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }

private:
    explicit GObjectPtr(T* object) : m_object(object) {}

    T* m_object = nullptr;
};

// An error that a GLib function may set: pass `error.out()`, then test it on the next line.
class GErrorPtr {
public:
    GErrorPtr() = default;
    GErrorPtr(const GErrorPtr&) = delete;
    GErrorPtr& operator=(const GErrorPtr&) = delete;
    ~GErrorPtr() { g_clear_error(&m_error); }

    GError** out() {
        g_clear_error(&m_error);
        return &m_error;
    }
    explicit operator bool() const { return m_error != nullptr; }
    const GError* get() const { return m_error; }
    const char* message() const { return m_error ? m_error->message : ""; }

private:
    GError* m_error = nullptr;
};

// A connection to a GObject's signal that ends with its receiver. release() forgets it without
// touching the object, for an object that may be gone.
class GSignalConnection {
public:
    GSignalConnection() = default;
    GSignalConnection(void* object, const char* signal, GCallback callback, void* data)
        : m_object(object), m_id(g_signal_connect(object, signal, callback, data)) {}
    // With the signal's identifier, which avoids a look-up by name for every request.
    GSignalConnection(void* object, guint signal, GCallback callback, void* data)
        : m_object(object),
          m_id(g_signal_connect_closure_by_id(object, signal, 0,
                                              g_cclosure_new(callback, data, nullptr), FALSE)) {}
    GSignalConnection(GSignalConnection&& other) noexcept
        : m_object(std::exchange(other.m_object, nullptr)), m_id(std::exchange(other.m_id, 0)) {}
    GSignalConnection& operator=(GSignalConnection&& other) noexcept {
        std::swap(m_object, other.m_object);
        std::swap(m_id, other.m_id);
        return *this;
    }
    ~GSignalConnection() { disconnect(); }

    explicit operator bool() const { return m_object != nullptr; }
    void disconnect() {
        if (m_object)
            g_signal_handler_disconnect(m_object, m_id);
        release();
    }
    void release() {
        m_object = nullptr;
        m_id = 0;
    }

private:
    void* m_object = nullptr;
    gulong m_id = 0;
};
