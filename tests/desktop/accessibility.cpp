#include "tests/desktop/accessibility.h"

#include <cmath>
#include <stdexcept>

#include "tests/desktop/program.h"

namespace talvane::test {
namespace {

constexpr const char* accessible = "org.a11y.atspi.Accessible";
constexpr int patience_milliseconds = 5000;
constexpr guint32 screen_coordinates = 0;

std::unique_ptr<GDBusConnection, void (*)(void*)> connectTo(const std::string& address) {
  return {g_dbus_connection_new_for_address_sync(
              address.c_str(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr),
          g_object_unref};
}

std::string trimmed(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

ScreenReader::ScreenReader(const std::string& session_bus) {
  const auto session = connectTo(session_bus);
  std::string address;
  const bool found = session != nullptr && until([&] {
                       const Variant answer(g_dbus_connection_call_sync(
                           session.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus",
                           "GetAddress", nullptr, G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE,
                           patience_milliseconds, nullptr, nullptr));
                       if (answer == nullptr) return false;
                       const char* text = nullptr;
                       g_variant_get(answer.get(), "(&s)", &text);
                       address = text;
                       return !address.empty();
                     });
  if (found) bus_.reset(connectTo(address).release());
  if (bus_ == nullptr) throw std::runtime_error("no accessibility bus");
}

ScreenReader::~ScreenReader() {
  if (listening_ != 0) g_dbus_connection_signal_unsubscribe(bus_.get(), listening_);
}

ScreenReader::Variant ScreenReader::call(const std::string& bus_name, const std::string& path,
                                         const char* interface, const char* method,
                                         GVariant* parameters) {
  const Variant owned(g_variant_ref_sink(parameters == nullptr ? g_variant_new("()") : parameters));
  // A thing that has not been found.
  if (bus_name.empty()) return nullptr;
  return Variant(g_dbus_connection_call_sync(bus_.get(), bus_name.c_str(), path.c_str(), interface,
                                             method, owned.get(), nullptr, G_DBUS_CALL_FLAGS_NONE,
                                             patience_milliseconds, nullptr, nullptr));
}

std::vector<Thing> ScreenReader::childrenOf(const std::string& bus_name, const std::string& path) {
  std::vector<Thing> children;
  const Variant answer = call(bus_name, path, accessible, "GetChildren", nullptr);
  if (answer == nullptr) return children;
  GVariantIter* list = nullptr;
  g_variant_get(answer.get(), "(a(so))", &list);
  const char* name = nullptr;
  const char* object = nullptr;
  while (g_variant_iter_loop(list, "(&s&o)", &name, &object) != 0) {
    Thing child;
    child.bus_name = name;
    child.path = object;
    children.push_back(child);
  }
  g_variant_iter_free(list);
  return children;
}

bool ScreenReader::look(Thing* thing) {
  const Variant states = call(thing->bus_name, thing->path, accessible, "GetState", nullptr);
  if (states == nullptr) return false;
  GVariantIter* list = nullptr;
  g_variant_get(states.get(), "(au)", &list);
  guint32 word = 0;
  int shift = 0;
  while (g_variant_iter_loop(list, "u", &word) != 0) {
    if (shift < 64) thing->states |= static_cast<std::uint64_t>(word) << shift;
    shift += 32;
  }
  g_variant_iter_free(list);

  const Variant role = call(thing->bus_name, thing->path, accessible, "GetRole", nullptr);
  const Variant role_name = call(thing->bus_name, thing->path, accessible, "GetRoleName", nullptr);
  const Variant name = call(thing->bus_name, thing->path, "org.freedesktop.DBus.Properties", "Get",
                            g_variant_new("(ss)", accessible, "Name"));
  if (role == nullptr || role_name == nullptr || name == nullptr) return false;
  guint32 number = 0;
  g_variant_get(role.get(), "(u)", &number);
  thing->role = static_cast<Role>(number);
  const char* text = nullptr;
  g_variant_get(role_name.get(), "(&s)", &text);
  thing->role_name = text;
  GVariant* inner = nullptr;
  g_variant_get(name.get(), "(v)", &inner);
  thing->name = g_variant_get_string(inner, nullptr);
  g_variant_unref(inner);

  const Variant place = call(thing->bus_name, thing->path, "org.a11y.atspi.Component", "GetExtents",
                             g_variant_new("(u)", screen_coordinates));
  if (place != nullptr) {
    Rectangle& at = thing->place;
    g_variant_get(place.get(), "((iiii))", &at.x, &at.y, &at.width, &at.height);
  }
  return true;
}

void ScreenReader::collect(const Thing& parent, std::vector<Thing>* things) {
  for (Thing& child : childrenOf(parent.bus_name, parent.path)) {
    if (!look(&child)) continue;
    // An application does not say that it is showing.
    if (!child.isShowing() && child.role != Role::application) continue;
    child.is_window = parent.role == Role::application;
    child.window = child.is_window ? child.place : parent.window;
    child.depth = parent.depth + 1;
    things->push_back(child);
    collect(child, things);
  }
}

std::vector<Thing> ScreenReader::showing() {
  std::vector<Thing> things;
  Thing desktop;
  desktop.bus_name = "org.a11y.atspi.Registry";
  desktop.path = "/org/a11y/atspi/accessible/root";
  collect(desktop, &things);
  return things;
}

bool ScreenReader::press(const Thing& button) {
  // A button's first action is to be pressed.
  return call(button.bus_name, button.path, "org.a11y.atspi.Action", "DoAction",
              g_variant_new("(i)", 0)) != nullptr;
}

std::string ScreenReader::textOf(const Thing& field) {
  const Variant answer = call(field.bus_name, field.path, "org.a11y.atspi.Text", "GetText",
                              g_variant_new("(ii)", 0, -1));
  if (answer == nullptr) return {};
  const char* text = nullptr;
  g_variant_get(answer.get(), "(&s)", &text);
  return text;
}

ScreenReader::Variant ScreenReader::property(const Thing& thing, const char* interface,
                                             const char* name) {
  const Variant answer = call(thing.bus_name, thing.path, "org.freedesktop.DBus.Properties", "Get",
                              g_variant_new("(ss)", interface, name));
  if (answer == nullptr) return nullptr;
  GVariant* inner = nullptr;
  g_variant_get(answer.get(), "(v)", &inner);
  return Variant(inner);
}

std::string ScreenReader::descriptionOf(const Thing& thing) {
  const Variant text = property(thing, accessible, "Description");
  return text == nullptr ? std::string() : g_variant_get_string(text.get(), nullptr);
}

std::string ScreenReader::labelOf(const Thing& thing) {
  constexpr guint32 labelled_by = 2;
  const Variant answer = call(thing.bus_name, thing.path, accessible, "GetRelationSet", nullptr);
  if (answer == nullptr) return {};
  std::string result;
  GVariantIter* relations = nullptr;
  g_variant_get(answer.get(), "(a(ua(so)))", &relations);
  guint32 kind = 0;
  GVariantIter* targets = nullptr;
  while (g_variant_iter_loop(relations, "(ua(so))", &kind, &targets) != 0) {
    const char* name = nullptr;
    const char* object = nullptr;
    while (g_variant_iter_loop(targets, "(&s&o)", &name, &object) != 0) {
      Thing label;
      label.bus_name = name;
      label.path = object;
      if (kind == labelled_by && look(&label)) result = label.name;
    }
  }
  g_variant_iter_free(relations);
  return result;
}

std::optional<Value> ScreenReader::valueOf(const Thing& thing) {
  constexpr const char* interface = "org.a11y.atspi.Value";
  const Variant now = property(thing, interface, "CurrentValue");
  const Variant least = property(thing, interface, "MinimumValue");
  const Variant most = property(thing, interface, "MaximumValue");
  if (now == nullptr || least == nullptr || most == nullptr) return std::nullopt;
  return Value{g_variant_get_double(now.get()), g_variant_get_double(least.get()),
               g_variant_get_double(most.get())};
}

std::string ScreenReader::wordsOf(const Thing& thing) {
  // Qt 6.4 calls it a text.
  const bool is_secret = thing.role == Role::password_text;
  std::string words = (is_secret ? "password text" : thing.role_name) + " '" + thing.name + '\'';
  const std::string description = descriptionOf(thing);
  if (!description.empty()) words += " description='" + description + '\'';
  const std::string label = labelOf(thing);
  if (!label.empty() && trimmed(label) != thing.name) words += " label='" + label + '\'';
  if (thing.role == Role::progress_bar) {
    if (const auto value = valueOf(thing)) {
      words += " value=" + std::to_string(std::lround(value->now)) + " of " +
               std::to_string(std::lround(value->least)) + ".." +
               std::to_string(std::lround(value->most));
    }
  }
  if (thing.role == Role::text) {
    words += " text='" + textOf(thing) + '\'';
    if (thing.isReadOnly()) words += " read-only";
  }
  if (thing.role == Role::check_box) words += thing.isChecked() ? " checked" : " not checked";
  if (!thing.isEnabled()) words += " disabled";
  if (thing.isFocused()) words += " focused";
  return words;
}

std::string ScreenReader::tree() {
  std::string result;
  std::vector<int> left_out;  // depths of those above
  for (const Thing& it : showing()) {
    while (!left_out.empty() && left_out.back() >= it.depth) left_out.pop_back();
    const bool is_container = it.role == Role::filler || it.role == Role::panel;
    if (it.role == Role::application || (is_container && it.name.empty())) {
      left_out.push_back(it.depth);
      continue;
    }
    result.append(2 * (static_cast<std::size_t>(it.depth) - left_out.size() - 1), ' ');
    result += wordsOf(it) + '\n';
  }
  return result;
}

void ScreenReader::listen() {
  for (const char* event : {"object:state-changed:showing", "object:property-change"}) {
    call("org.a11y.atspi.Registry", "/org/a11y/atspi/registry", "org.a11y.atspi.Registry",
         "RegisterEvent", g_variant_new("(sass)", event, nullptr, ""));
  }
  listening_ = g_dbus_connection_signal_subscribe(
      bus_.get(), nullptr, "org.a11y.atspi.Event.Object", nullptr, nullptr, nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, hear, this, nullptr);
}

void ScreenReader::hear(GDBusConnection* /*bus*/, const char* sender, const char* path,
                        const char* /*interface*/, const char* signal, GVariant* parameters,
                        void* self) {
  auto& reader = *static_cast<ScreenReader*>(self);
  const char* kind = nullptr;
  gint32 first = 0;
  g_variant_get_child(parameters, 0, "&s", &kind);
  g_variant_get_child(parameters, 1, "i", &first);
  const std::string event = std::string(signal) + ':' + kind;
  Thing source;
  source.bus_name = sender;
  source.path = path;
  if (event == "StateChanged:showing" && first == 1 && reader.look(&source) &&
      source.role == Role::notification) {
    reader.heard_.push_back(source.name);
  }
  if (event == "PropertyChange:accessible-description") {
    reader.heard_.push_back("description: " + reader.descriptionOf(source));
  }
  if (event == "PropertyChange:accessible-value") reader.heard_.emplace_back("value");
}

const std::vector<std::string>& ScreenReader::heard() {
  while (g_main_context_iteration(nullptr, 0) != 0) {
  }
  return heard_;
}

}  // namespace talvane::test
