// Small pieces of text that people read.
#ifndef ORLOCTL_RENDER_WORDS_H
#define ORLOCTL_RENDER_WORDS_H

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace OrloCtl {

/// Everything shown fits this many columns, unless one word alone is longer.
inline constexpr std::size_t kWidth = 80;

/// In printable ASCII: what would move a terminal's cursor, and what is not one column wide, is
/// shown as '?'.
std::string tamed( std::string_view text );

/// "1 pair", "5 pairs".
std::string counted( std::int64_t count, const char *one, const char *many );

/// "12s", "3m12s", "2h05m", "4d03h".
std::string duration( std::int64_t seconds );
/// How long before `now`, in seconds since 1970, a moment like "2026-11-21T11:02:24Z" was; the
/// text itself when it is no such moment.
std::string age( const std::string &moment, std::int64_t now );

/// VLANs as "10-12, 20"; throws Failure when a number is none.
std::string numbers( const nlohmann::json &list );
/// Texts as "a, b"; "-" when there are none. Throws Failure when a text is none.
std::string texts( const nlohmann::json &list );

/// A value in one line: a text as it is, true and false as yes and no, "-" for null.
std::string valueText( const nlohmann::json &value );

/// Lines of at most `width`, broken behind commas and blanks, within a word only when it is longer
/// than that. At least one line.
std::vector<std::string> wrapped( const std::string &text, std::size_t width );
/// `lead`, then the text with its further lines below its first.
std::string hanging( const std::string &lead, const std::string &text );

} // namespace OrloCtl

#endif
