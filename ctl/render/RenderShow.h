// The agent's state for people: one function for the result of each command.
#ifndef ORLOCTL_RENDER_RENDERSHOW_H
#define ORLOCTL_RENDER_RENDERSHOW_H

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

namespace OrloCtl {

/// How a result is to look.
struct Look {
   bool isColored = false;
   std::int64_t now = 0; ///< seconds since 1970
};

// All give whole lines, and throw Failure when the result is not what it should be.

std::string renderShow( const nlohmann::json &result, const Look &look );
std::string renderPairs( const nlohmann::json &result, const Look &look );
std::string renderWaiting( const nlohmann::json &result, const Look &look );
std::string renderSlots( const nlohmann::json &result, const Look &look );
std::string renderInterfaces( const nlohmann::json &result, const Look &look );
std::string renderExplain( const nlohmann::json &result, const Look &look );

} // namespace OrloCtl

#endif
