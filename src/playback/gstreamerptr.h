// SPDX-License-Identifier: MIT
#pragma once

#include "support/glibptr.h"

#include <gst/gst.h>

// Owning pointers for GStreamer's types, beside those of glibptr.h.

// A counted pointer to an element or another GstObject, which is created with a floating reference.
template <typename T>
struct GstObjectUnref {
    void operator()(T* object) const { gst_object_unref(object); }
};
template <typename T>
using GstObjectPtr = std::unique_ptr<T, GstObjectUnref<T>>;

template <typename T>
GstObjectPtr<T> gstSink(T* floating) {
    return GstObjectPtr<T>(floating ? static_cast<T*>(gst_object_ref_sink(floating)) : nullptr);
}

using GstCapsPtr = std::unique_ptr<GstCaps, GFree<gst_caps_unref>>;
using GstEventPtr = std::unique_ptr<GstEvent, GFree<gst_event_unref>>;
using GstTagListPtr = std::unique_ptr<GstTagList, GFree<gst_tag_list_unref>>;
