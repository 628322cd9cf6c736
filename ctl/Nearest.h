// What somebody who mistyped a word may have meant.
#ifndef ORLOCTL_NEAREST_H
#define ORLOCTL_NEAREST_H

#include <string>
#include <vector>

namespace OrloCtl {

/// The word that takes the fewest changes of a letter; empty when none is near. Costs the product
/// of the lengths.
std::string nearest( const std::string &word, const std::vector<std::string> &words );

} // namespace OrloCtl

#endif
