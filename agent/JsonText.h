// Reads JSON text as it comes from outside: as people write it in configuration files, with // and
// /* */ comments, or as programs send it. What is wrong with it is told by its place.
#ifndef ORLOAGENT_JSONTEXT_H
#define ORLOAGENT_JSONTEXT_H

#include <nlohmann/json.hpp>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace OrloAgent {

/// Text that is not JSON, is nested too deeply, or has an object that gives the same member twice.
/// what() begins with the place: "line 3, column 5: ..." or, for a member, its JSON pointer (RFC
/// 6901).
class JsonError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

enum class Comments { allowed, refused };

/// Objects and arrays may stand in one another this deep: what walks through a value by recursion
/// is safe with everything that has been read.
inline constexpr std::size_t kDeepestJson = 64;

/// The whole of `text` as one JSON value. Throws JsonError. Takes any bytes.
nlohmann::json readJson( std::string_view text, Comments comments = Comments::allowed );

/// `pointer` extended by one member name, with '~' and '/' escaped as RFC 6901 wants it.
std::string memberPointer( const std::string &pointer, std::string_view name );

/// `value` in one short printable ASCII line, to stand in an error: texts in quotes, "an object"
/// and "an array" for what is too big to show.
std::string shortJson( const nlohmann::json &value );

} // namespace OrloAgent

#endif
