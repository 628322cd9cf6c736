// The name that was probably meant.
#ifndef ORLOTEXT_NEAREST_H
#define ORLOTEXT_NEAREST_H

#include <string>
#include <string_view>
#include <vector>

namespace OrloText {

/// The first of the names that are nearest to `typed`: at most three letters, and no more than half
/// of what was typed, are changed, put in, left out, or swapped with their neighbour; the case does
/// not count. Empty when none is that near. Takes any text; costs the product of the lengths.
std::string_view nearest( std::string_view typed, const std::vector<std::string_view> &names );

/// "; did you mean vrrpHelper?", or empty.
std::string didYouMean( std::string_view typed, const std::vector<std::string_view> &names );

} // namespace OrloText

#endif
