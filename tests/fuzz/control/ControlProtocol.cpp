// What a client sends over the control socket, to the whole agent. Two bytes say who it is and how
// it reads, and into which pieces its bytes are split; the rest are its bytes, of up to 200 lines.
// A byte 1 repeats: the next byte is what, the one after it how often, in 256 (minus one), so that
// lines can be long. At a byte 2 a device becomes master, or is not any more; at a byte 3 the
// configuration changes.
//
//    - Every line gets its answer or its error, in order, or the connection is closed after one;
//      what comes back are lines of JSON, none of them longer than the protocol allows.
//    - What the agent holds for the client is bounded, also for one that does not read.
//    - Afterwards the hardware holds what is wanted.
#include "agent/JsonText.h"
#include "agent/control/Control.h"
#include "agent/control/ControlConnection.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"
#include "tests/unit/agent/SwitchWithAgent.h"

#include <array>
#include <functional>
#include <optional>
#include <sanitizer/allocator_interface.h>
#include <sys/socket.h>

using Fuzz::check;
using namespace OrloAgent;
using Json = nlohmann::json;

namespace {

/// Beside what its requests may add to the agent: a request and its tree, and the answers.
constexpr std::size_t kMostHeld = std::size_t{ 8 } << 20;

constexpr std::size_t kMostLines = 200;

struct Sent {
   std::string bytes;
   /// What happens beside it, each as soon as so much has been sent.
   std::vector<std::pair<std::size_t, char>> events;
};

Sent unfolded( Fuzz::Input input ) {
   Sent sent;
   while( !input.empty() && sent.bytes.size() < 4 * Protocol::longestRequest ) {
      const char next = static_cast<char>( input.byte() );
      if( next == 1 ) {
         const char what = static_cast<char>( input.byte() );
         sent.bytes.append( 256 * ( 1 + std::size_t{ input.byte() } ), what );
      } else if( next == 2 || next == 3 ) {
         sent.events.emplace_back( sent.bytes.size(), next );
      } else {
         sent.bytes += next;
      }
   }
   std::size_t end = 0;
   for( std::size_t line = 0; line < kMostLines && end != std::string::npos; ++line ) {
      end = sent.bytes.find( '\n', end );
      end = end == std::string::npos ? end : end + 1;
   }
   sent.bytes.resize( std::min( end, sent.bytes.size() ) );
   return sent;
}

/// How many answers there have to be.
std::size_t requestsIn( std::string_view bytes ) {
   std::size_t count = 0;
   while( !bytes.empty() ) {
      const std::size_t length = std::min( bytes.find( '\n' ), bytes.size() );
      ++count;
      if( length > Protocol::longestRequest ) {
         break; // closed
      }
      bytes.remove_prefix( std::min( length + 1, bytes.size() ) );
   }
   return count;
}

/// One end of the connection, in the same loop as the other one.
class Client {
 public:
   using Happens = std::function<void( char )>;

   Client( EventLoop &loop, FileDescriptor socket, const Sent &sent, Happens happens,
           std::uint8_t split, bool isLazy )
         : loop_( loop ), socket_( std::move( socket ) ), bytes_( sent.bytes ),
           events_( sent.events.rbegin(), sent.events.rend() ), happens_( std::move( happens ) ),
           dice_( split ), isLazy_( isLazy ) {
      again();
   }
   const std::string &answers() const noexcept { return answers_; }

 private:
   void again() {
      next_ = loop_.after( std::chrono::microseconds( 0 ), [this] { turn(); } );
   }
   void turn() {
      check( __sanitizer_get_current_allocated_bytes() < atFirst_ + kMostHeld + answers_.capacity(),
             "the agent holds too much for one client" );
      const bool isEvent = !events_.empty() && events_.back().first <= at_;
      const bool isSending = !isEvent && at_ < bytes_.size();
      const bool isStuck = isSending && !send();
      if( isEvent && ++waited_ == kTurnsBeforeEvent ) {
         const char what = events_.back().second;
         waited_ = 0;
         events_.pop_back();
         happens_( what );
      }
      if( !isEvent && !isSending && !hasEnded_ ) {
         shutdown( socket_.get(), SHUT_WR );
         hasEnded_ = true;
      }
      // Who is lazy reads when it must: nobody takes what it sends, or it has no more to send.
      if( ( !isLazy_ || isStuck || hasEnded_ ) && !receive() ) {
         loop_.stop();
         return;
      }
      again();
   }
   /// False: the agent takes nothing at the moment.
   bool send() {
      dice_ = dice_ * 1103515245u + 12345u;
      const std::size_t end = events_.empty() ? bytes_.size() : events_.back().first;
      const std::size_t most = std::size_t{ 1 } << ( dice_ >> 16 & 15 );
      const ssize_t count = ::send( socket_.get(), bytes_.data() + at_,
                                    std::min( most, std::min( end, bytes_.size() ) - at_ ),
                                    MSG_DONTWAIT | MSG_NOSIGNAL );
      if( count < 0 && errno == EPIPE ) {
         at_ = bytes_.size(); // closed: what it said before is still to be read
         return true;
      }
      at_ += count > 0 ? static_cast<std::size_t>( count ) : 0;
      return count > 0;
   }
   /// False at the end.
   bool receive() {
      std::array<char, 16384> part;
      const ssize_t count = recv( socket_.get(), part.data(), part.size(), MSG_DONTWAIT );
      if( count > 0 ) {
         answers_.append( part.data(), static_cast<std::size_t>( count ) );
      }
      return count > 0 || ( count < 0 && ( errno == EAGAIN || errno == EWOULDBLOCK ) );
   }

   const std::size_t atFirst_ = __sanitizer_get_current_allocated_bytes();
   EventLoop &loop_;
   FileDescriptor socket_;
   static constexpr int kTurnsBeforeEvent = 4; ///< the agent has read what was sent by then

   const std::string bytes_;
   std::vector<std::pair<std::size_t, char>> events_; ///< the next one last
   const Happens happens_;
   int waited_ = 0;
   std::size_t at_ = 0;
   std::uint32_t dice_;
   const bool isLazy_;
   bool hasEnded_ = false;
   std::string answers_;
   EventLoop::Subscription next_;
};

/// Gives how many requests these answer.
std::size_t checkAnswers( std::string_view answers ) {
   std::size_t answered = 0;
   while( !answers.empty() ) {
      const std::size_t end = answers.find( '\n' );
      check( end != std::string_view::npos, "half a line" );
      check( end < Protocol::mostOutput, "a very long line" );
      const std::string_view line = answers.substr( 0, end );
      const Json json = Json::parse( line, nullptr, false );
      check( json.is_object() && json.value( "schema", Json() ) == Protocol::schema &&
                   json.contains( "id" ),
             "no answer: " + std::string( line ) );
      check( json["id"].is_null() || json["id"].is_number_integer(), "no id" );
      const bool isLast = json.contains( "result" ) || json.contains( "error" );
      check( isLast || json.contains( "rows" ) || json.contains( "sequence" ),
             "an answer to nothing: " + std::string( line ) );
      check( !json.contains( "error" ) || !json["error"]["message"].get<std::string>().empty(),
             "an error without a word" );
      answered += isLast ? 1 : 0;
      answers.remove_prefix( end + 1 );
   }
   return answered;
}

/// One more interface; then without it again, and with another number of indexes.
Configuration other( const Configuration &now, const SwitchWithAgent &on ) {
   const bool isSmall = now.interfaces.size() == 2;
   Configuration next =
         on.configuration( isSmall ? now.hardware.indexes : 12 - now.hardware.indexes );
   if( isSmall ) {
      next.interfaces.push_back( { Pelmo::IntfId( "br30" ), Bridging::VlanId( 30 ), {} } );
   }
   return next;
}

void serve( SwitchWithAgent &on, std::uint8_t who, std::uint8_t split, const Sent &sent ) {
   Tracing tracing( [&] { return on.now_; } );
   const auto reload = [&] { return on.agent_->reload( other( on.agent_->configuration(), on ) ); };
   Control control( *on.agent_, tracing, reload );
   std::array<int, 2> ends{};
   check( socketpair( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data() ) == 0, "no sockets" );
   EventLoop loop;
   const Peer peer{ .uid = 0, .gid = 0, .pid = 1, .mayChange = ( who & 1 ) == 0 };
   std::optional<ControlConnection> connection;
   connection.emplace( loop, control, FileDescriptor( ends[0] ), peer, Protocol::patience,
                       [&] { connection.reset(); } );
   bool isMaster = true;
   const auto happens = [&]( char what ) {
      if( what == 3 ) {
         reload();
         return;
      }
      isMaster ? on.becomeBackup( kDevice51 ) : on.becomeMaster( kDevice51 );
      isMaster = !isMaster;
      on.kernel_.quiet();
   };
   const Client client( loop, FileDescriptor( ends[1] ), sent, happens, split, ( who & 2 ) != 0 );
   loop.run(); // ends when the connection does
   check( !connection, "the connection goes on without its client" );
   const std::size_t requests = requestsIn( sent.bytes );
   const std::size_t answered = checkAnswers( client.answers() );
   check( answered == requests,
          std::to_string( requests ) + " requests, answered " + std::to_string( answered ) );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   Fuzz::Input input( bytes, size );
   const std::uint8_t who = input.byte();
   const std::uint8_t split = input.byte();
   SwitchWithAgent on;
   on.masters( { { kDevice51, 51 }, { kDevice52, 52 } } );
   on.start();
   if( ( who & 4 ) == 0 ) { // otherwise it is not ready
      on.kernel_.read();
   }
   serve( on, who, split, unfolded( input ) );
   on.kernel_.read();
   check( on.agent_->programming().audit().differences().empty(),
          "the hardware holds something else than is wanted" );
   return 0;
}
