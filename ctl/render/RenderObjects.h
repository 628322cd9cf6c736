// Objects by name, changes, traces and orders for people: one function for each result.
#ifndef ORLOCTL_RENDER_RENDEROBJECTS_H
#define ORLOCTL_RENDER_RENDEROBJECTS_H

#include "ctl/render/RenderShow.h"

#include <nlohmann/json.hpp>

#include <string>

namespace OrloCtl {

// All give whole lines, and throw Failure when the result is not what it should be.

std::string renderList( const nlohmann::json &result, const Look &look );
/// A value alone, for get; for set, remove and call nothing when there is none.
std::string renderValue( const nlohmann::json &result, const Look &look );
std::string renderReload( const nlohmann::json &result, const Look &look );
std::string renderMetrics( const nlohmann::json &result, const Look &look );
std::string renderCompletions( const nlohmann::json &result, const Look &look );

/// A line of `watch` and of `trace`: an event, or how many were lost.
std::string renderChange( const nlohmann::json &line, const Look &look );
std::string renderTrace( const nlohmann::json &line, const Look &look );

} // namespace OrloCtl

#endif
