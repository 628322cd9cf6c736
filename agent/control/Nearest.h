// The name that was probably meant.
#ifndef ORLOAGENT_CONTROL_NEAREST_H
#define ORLOAGENT_CONTROL_NEAREST_H

#include <string>
#include <string_view>
#include <vector>

namespace OrloAgent {

/// "; did you mean vrrpHelper?", with the first of the names that are nearest to `typed`: at most
/// three letters changed, added or left out, and fewer than it has. Empty when none is that near.
std::string didYouMean( std::string_view typed, const std::vector<std::string_view> &names );

} // namespace OrloAgent

#endif
