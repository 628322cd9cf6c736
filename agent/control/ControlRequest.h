// One request of a control client.
#ifndef ORLOAGENT_CONTROL_CONTROLREQUEST_H
#define ORLOAGENT_CONTROL_CONTROLREQUEST_H

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace OrloAgent {

struct ControlRequest {
   nlohmann::json id; ///< an integer; null while none was found
   std::string command;
   nlohmann::json arguments = nlohmann::json::object();

   /// Fills in what a line says, the id first, so that it is there when the rest is refused. Takes
   /// any bytes; throws ControlError of kind usage.
   void read( std::string_view line );
};

} // namespace OrloAgent

#endif
