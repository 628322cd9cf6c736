// What this process looks up in its environment.
#ifndef TESTS_UNIT_PLUGIN_ENVIRONMENT_H
#define TESTS_UNIT_PLUGIN_ENVIRONMENT_H

#include <string>
#include <vector>

namespace PluginTests {

/// The variables that were looked up since the last call, by whatever shared object.
std::vector<std::string> lookedUp();

} // namespace PluginTests

#endif
