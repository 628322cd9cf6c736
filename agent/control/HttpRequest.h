// As much of HTTP as it takes to be asked for one page.
#ifndef ORLOAGENT_CONTROL_HTTPREQUEST_H
#define ORLOAGENT_CONTROL_HTTPREQUEST_H

#include <optional>
#include <string>
#include <string_view>

namespace OrloAgent {

/// The first line of a request, HTTP/1.0 or HTTP/1.1.
struct HttpRequest {
   std::string method;
   std::string path; ///< without a query
   bool isGood = false;

   /// Reads a request's head, the header fields being checked for their form and otherwise
   /// ignored. None while its end has not come; takes any bytes.
   static std::optional<HttpRequest> read( std::string_view bytes );
};

} // namespace OrloAgent

#endif
