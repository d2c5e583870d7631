// The desktop application a process was started as, from the systemd unit the desktop put it in:
//   app[-<launcher>]-<app id>-<random>.scope     (app-gnome-firefox-4711.scope)
//   app[-<launcher>]-<app id>[@<random>].service (app-org.kde.kate@12ab.service)
// Characters such as "-" inside the app id are escaped as "\xNN", so the parts split cleanly at "-".
#pragma once

#include <string>
#include <string_view>

namespace velmora {

// The app id of one unit name; empty when it is no app unit.
std::string appIdOfUnit(std::string_view unit);
// The app id of the innermost app unit on the paths of a /proc/<pid>/cgroup text
// ("0::/user.slice/…/app-gnome-firefox-4711.scope"); empty when the process runs in none.
std::string appIdOfCgroup(std::string_view cgroup);

} // namespace velmora
