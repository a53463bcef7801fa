// Owning handles for the GLib and GObject values that the Secret Service
// lookup juggles, so that every early return releases what it took.
#pragma once

#include <memory>

#include <gio/gio.h>

namespace tessaro::platform::glib {

struct ObjectUnref {
  void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
template <class T>
using Object = std::unique_ptr<T, ObjectUnref>;

struct ErrorFree {
  void operator()(GError* error) const noexcept { g_error_free(error); }
};
using Error = std::unique_ptr<GError, ErrorFree>;

struct Free {
  void operator()(gpointer p) const noexcept { g_free(p); }
};
using String = std::unique_ptr<gchar, Free>;

// A list of object references, as libsecret hands them out.
struct ObjectListFree {
  void operator()(GList* list) const noexcept { g_list_free_full(list, g_object_unref); }
};
using ObjectList = std::unique_ptr<GList, ObjectListFree>;

struct HashTableUnref {
  void operator()(GHashTable* table) const noexcept { g_hash_table_unref(table); }
};
using HashTable = std::unique_ptr<GHashTable, HashTableUnref>;

// Makes a fresh main context the thread's default for the lifetime of the
// guard. GDBus delivers the signals of objects made meanwhile to it, so
// nothing of one call is left queued on the global context.
class ScopedMainContext {
 public:
  ScopedMainContext() : context_(g_main_context_new()) { g_main_context_push_thread_default(context_); }
  ~ScopedMainContext() {
    // Dispatch what is still pending so that its sources are freed.
    while (g_main_context_iteration(context_, FALSE)) {
    }
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
  }
  ScopedMainContext(const ScopedMainContext&) = delete;
  ScopedMainContext& operator=(const ScopedMainContext&) = delete;

 private:
  GMainContext* context_;
};

}  // namespace tessaro::platform::glib
