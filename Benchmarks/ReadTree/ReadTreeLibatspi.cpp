// Reads the whole tree of a running application through libatspi, with its cache,
// and prints "libatspi nodes medianMilliseconds".
//
// usage: ReadTreeLibatspi PID ROUNDS

#include <atspi/atspi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

int read(AtspiAccessible* object, AtspiStateType gate, bool isRoot) {
  AtspiStateSet* states = atspi_accessible_get_state_set(object);
  bool isShown = isRoot || atspi_state_set_contains(states, gate);
  g_object_unref(states);
  if (!isShown) return 0;
  g_free(atspi_accessible_get_name(object, nullptr));
  g_free(atspi_accessible_get_description(object, nullptr));
  atspi_accessible_get_role(object, nullptr);
  if (AtspiComponent* component = atspi_accessible_get_component_iface(object)) {
    g_free(atspi_component_get_extents(component, ATSPI_COORD_TYPE_SCREEN, nullptr));
    g_object_unref(component);
  }
  if (AtspiAction* action = atspi_accessible_get_action_iface(object)) {
    int count = atspi_action_get_n_actions(action, nullptr);
    for (int i = 0; i < count; ++i) g_free(atspi_action_get_action_name(action, i, nullptr));
    g_object_unref(action);
  }
  if (AtspiText* text = atspi_accessible_get_text_iface(object)) {
    g_free(atspi_text_get_text(text, 0, atspi_text_get_character_count(text, nullptr), nullptr));
    g_object_unref(text);
  }
  if (AtspiValue* value = atspi_accessible_get_value_iface(object)) {
    atspi_value_get_current_value(value, nullptr);
    g_object_unref(value);
  }
  int nodes = 1;
  int count = atspi_accessible_get_child_count(object, nullptr);
  for (int i = 0; i < count; ++i) {
    AtspiAccessible* child = atspi_accessible_get_child_at_index(object, i, nullptr);
    if (!child) continue;
    nodes += read(child, gate, false);
    g_object_unref(child);
  }
  return nodes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 64;
  atspi_init();
  auto pid = static_cast<guint>(std::atoi(argv[1]));
  AtspiAccessible* desktop = atspi_get_desktop(0);
  AtspiAccessible* application = nullptr;
  for (int i = 0; i < atspi_accessible_get_child_count(desktop, nullptr); ++i) {
    AtspiAccessible* child = atspi_accessible_get_child_at_index(desktop, i, nullptr);
    if (child && atspi_accessible_get_process_id(child, nullptr) == pid) application = child;
  }
  if (!application) return 1;
  gchar* toolkit = atspi_accessible_get_toolkit_name(application, nullptr);
  AtspiStateType gate = toolkit && std::string(toolkit) == "GTK" ? ATSPI_STATE_VISIBLE : ATSPI_STATE_SHOWING;
  std::vector<double> times;
  int nodes = 0;
  for (int round = 0; round < std::max(1, std::atoi(argv[2])); ++round) {
    auto start = std::chrono::steady_clock::now();
    nodes = read(application, gate, true);
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  std::printf("libatspi %d %.2f\n", nodes, times[times.size() / 2]);
  return 0;
}
