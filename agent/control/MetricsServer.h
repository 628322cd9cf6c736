// The agent's numbers over HTTP, for programs that collect such (the Prometheus text format).
#ifndef ORLOAGENT_CONTROL_METRICSSERVER_H
#define ORLOAGENT_CONTROL_METRICSSERVER_H

#include "agent/EventLoop.h"
#include "agent/FileDescriptor.h"
#include "agent/Limits.h"
#include "agent/control/Listener.h"
#include "agent/control/LoopbackAddress.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <string>

namespace OrloAgent {

/// Answers GET /metrics, one request a connection, on the thread of the event loop. Whatever
/// clients do, nothing is thrown into the loop.
class MetricsServer {
 public:
   /// The page. Called once a request; what it throws is answered with status 500.
   using Text = std::function<std::string()>;

   struct Settings {
      std::size_t longestRequest = Limits::scrapeBytes;
      std::size_t mostConnections = Limits::scrapers;
      std::chrono::microseconds patience = Limits::scrapePatience;
      std::chrono::microseconds acceptPause = std::chrono::seconds( 1 ); ///< see Listener
   };

   /// Listens when this returns. Throws std::system_error. `loop` must outlive the server.
   MetricsServer( EventLoop &loop, const LoopbackAddress &address, Text text );
   MetricsServer( EventLoop &loop, const LoopbackAddress &address, Text text,
                  const Settings &settings );
   ~MetricsServer();
   MetricsServer( const MetricsServer & ) = delete;
   MetricsServer &operator=( const MetricsServer & ) = delete;

   std::uint16_t port() const noexcept { return port_; }
   std::size_t connections() const noexcept { return connections_.size(); }

 private:
   class Connection;

   MetricsServer( EventLoop &loop, FileDescriptor listening, Text text, const Settings &settings );
   void accept( FileDescriptor socket );

   EventLoop &loop_;
   Text text_;
   Settings settings_;
   std::uint16_t port_;
   std::list<Connection> connections_;
   Listener listener_;
};

} // namespace OrloAgent

#endif
