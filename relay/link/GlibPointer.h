#pragma once

#include <gst/gst.h>

#include <memory>
#include <type_traits>

namespace wingbell {

/// Gives back one reference to whatever kind of thing of the media library it is.
struct GstUnref
{
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstPromise* promise) const { gst_promise_unref(promise); }
    template <typename Object> void operator()(Object* object) const { gst_object_unref(object); }
};

/// Owns one reference.
template <typename Object> using GstPointer = std::unique_ptr<Object, GstUnref>;

} // namespace wingbell
