// One client of the control socket.
#ifndef ORLOAGENT_CONTROL_CONTROLCONNECTION_H
#define ORLOAGENT_CONTROL_CONTROLCONNECTION_H

#include "agent/EventLoop.h"
#include "agent/FileDescriptor.h"
#include "agent/control/ControlHandler.h"
#include "agent/control/OutputBuffer.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace OrloAgent {

/// Reads one request at a time and answers it. Does a bounded amount of work a turn of the loop;
/// holds a bounded amount for a client that does not read, and does not read from it meanwhile.
class ControlConnection {
 public:
   /// Called once, when the client has gone or has been sent away; ends this object.
   using Ended = std::function<void()>;

   /// `patience` is what Protocol::patience says. Throws std::system_error. Loop and handler must
   /// outlive the connection.
   ControlConnection( EventLoop &loop, ControlHandler &handler, FileDescriptor socket,
                      const Peer &peer, std::chrono::microseconds patience, Ended ended );
   ~ControlConnection();
   ControlConnection( const ControlConnection & ) = delete;
   ControlConnection &operator=( const ControlConnection & ) = delete;

   const Peer &peer() const noexcept { return peer_; }

   /// An error line that stands for no request.
   static std::string errorLine( Protocol::ErrorKind kind, std::string_view message );

 private:
   /// An answer whose rows are still to come.
   struct Open {
      nlohmann::json id;
      Answer answer;
      std::string row; ///< fetched, and did not fit the line
   };
   /// A command that follows.
   struct Stream {
      explicit Stream( nlohmann::json given ) : id( std::move( given ) ) {}

      nlohmann::json id;
      std::uint64_t sequence = 0;
      std::uint64_t lost = 0; ///< since the last event that fitted
      std::unique_ptr<Following> following;
   };
   enum class Waiting { nothing, readable, writable };

   void turn() noexcept;
   bool work();
   bool read();
   bool hasLine() const noexcept { return lineEnd_ != std::string::npos; }
   void findLine( std::size_t from ) { lineEnd_ = input_.find( '\n', from ); }
   void serveLine();
   void serve( std::string_view line );
   bool follow( const nlohmann::json &id, const std::string &command,
                const nlohmann::json &arguments );
   void pullRows();
   bool fetchRow();
   void finish();
   void emit( const nlohmann::json &event );
   bool add( const nlohmann::json &id, std::string_view name, std::string_view content );
   void addError( const nlohmann::json &id, Protocol::ErrorKind kind, std::string_view message );
   void await( Waiting what );
   void beginToWait();
   void sendAway() noexcept;
   void end();

   EventLoop &loop_;
   ControlHandler &handler_;
   FileDescriptor socket_;
   Peer peer_;
   Ended ended_;
   std::string input_;
   std::size_t lineEnd_ = std::string::npos;
   bool isLast_ = false; ///< nothing more is read: to be closed when all is sent
   OutputBuffer output_;
   std::optional<Open> open_;
   std::optional<Stream> stream_;
   std::shared_ptr<ControlConnection *> self_; ///< how emit() finds its way, while there is one
   Waiting waiting_ = Waiting::nothing;
   EventLoop::Subscription subscription_;
   const std::chrono::microseconds patience_;
   EventLoop::Subscription timer_; ///< while it runs, the client is waited for
};

} // namespace OrloAgent

#endif
