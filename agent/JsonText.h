// Reads JSON text as people write it in configuration files: with // and /* */ comments, and with
// the mistakes that people make told by their place.
#ifndef ORLOAGENT_JSONTEXT_H
#define ORLOAGENT_JSONTEXT_H

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>
#include <string_view>

namespace OrloAgent {

/// Text that is not JSON, or an object that gives the same member twice. what() begins with the
/// place: "line 3, column 5: ..." or, for a member, its JSON pointer (RFC 6901).
class JsonError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// The whole of `text` as one JSON value. Throws JsonError. Takes any bytes.
nlohmann::json readJson( std::string_view text );

/// `pointer` extended by one member name, with '~' and '/' escaped as RFC 6901 wants it.
std::string memberPointer( const std::string &pointer, std::string_view name );

/// `value` in one short printable ASCII line, to stand in an error: texts in quotes, "an object"
/// and "an array" for what is too big to show.
std::string shortJson( const nlohmann::json &value );

} // namespace OrloAgent

#endif
