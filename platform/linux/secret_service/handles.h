#pragma once

// Owners for GLib's and libsecret's handles.

#ifndef SECRET_API_SUBJECT_TO_CHANGE
#define SECRET_API_SUBJECT_TO_CHANGE
#endif
#include <gio/gio.h>
#include <libsecret/secret.h>

#include <memory>

namespace talvane::secret_service {

template <auto release>
struct Release {
  template <class T>
  void operator()(T* handle) const {
    release(handle);
  }
};

template <class T>
using ObjectHandle = std::unique_ptr<T, Release<g_object_unref>>;
using ContextHandle = std::unique_ptr<GMainContext, Release<g_main_context_unref>>;
using ErrorHandle = std::unique_ptr<GError, Release<g_error_free>>;
using SecretHandle = std::unique_ptr<SecretValue, Release<secret_value_unref>>;
using VariantHandle = std::unique_ptr<GVariant, Release<g_variant_unref>>;

}  // namespace talvane::secret_service
