#include "agent/control/ControlConnection.h"

#include "agent/control/ControlRequest.h"

#include <array>
#include <cerrno>
#include <exception>
#include <sys/socket.h>
#include <utility>

namespace OrloAgent {

namespace {

using Json = nlohmann::json;
using Kind = Protocol::ErrorKind;

/// Texts that are not UTF-8 are no reason to fail.
std::string textOf( const Json &value ) {
   return value.dump( -1, ' ', false, Json::error_handler_t::replace );
}

std::string line( const Json &id, std::string_view name, std::string_view content ) {
   std::string text =
         "{\"schema\":" + std::to_string( Protocol::schema ) + ",\"id\":" + textOf( id ) + ",\"";
   text.append( name ).append( "\":" ).append( content ).append( "}\n" );
   return text;
}

std::string errorText( Kind kind, std::string_view message ) {
   return textOf( { { "kind", Protocol::nameOf( kind ) }, { "message", message } } );
}

constexpr const char *kTooBig = "the answer is too big to be sent";
// Kept free while rows are pulled, so that the answer's end always finds room.
constexpr std::size_t kRoomForEnd = 1024;

} // namespace

ControlConnection::ControlConnection( EventLoop &loop, ControlHandler &handler,
                                      FileDescriptor socket, const Peer &peer,
                                      std::chrono::microseconds patience, Ended ended )
      : loop_( loop ), handler_( handler ), socket_( std::move( socket ) ), peer_( peer ),
        ended_( std::move( ended ) ), self_( std::make_shared<ControlConnection *>( this ) ),
        patience_( patience ) {
   await( Waiting::readable );
   beginToWait();
}

ControlConnection::~ControlConnection() {
   self_.reset(); // what ends now may still emit
}

std::string ControlConnection::errorLine( Kind kind, std::string_view message ) {
   return line( nullptr, "error", errorText( kind, message ) );
}

void ControlConnection::turn() noexcept {
   bool goesOn = false;
   try {
      goesOn = work();
   } catch( const std::exception & ) {
      // No memory, or nothing to wait with: this client is sent away, the agent stays.
   }
   if( !goesOn ) {
      end();
   }
}

void ControlConnection::end() {
   const Ended ended = std::move( ended_ );
   ended();
}

/// Counts from now, unless the client follows.
void ControlConnection::beginToWait() {
   timer_ = EventLoop::Subscription();
   if( !stream_ ) {
      timer_ = loop_.after( patience_, [this] { sendAway(); } );
   }
}

void ControlConnection::sendAway() noexcept {
   try {
      if( output_.empty() ) { // otherwise it does not read anyway
         addError( nullptr, Kind::usage,
                   "no request for " +
                         std::to_string(
                               std::chrono::ceil<std::chrono::seconds>( patience_ ).count() ) +
                         " s: closed" );
         output_.sendTo( socket_.get() );
      }
   } catch( const std::exception & ) {
      // Being closed is an answer as well.
   }
   end();
}

bool ControlConnection::work() {
   if( waiting_ == Waiting::readable && !read() ) {
      return false;
   }
   const bool isAsked = output_.empty() && !open_ && hasLine();
   if( isAsked ) {
      serveLine();
   }
   if( open_ ) {
      pullRows();
   }
   const std::size_t before = output_.size();
   if( !output_.sendTo( socket_.get() ) ) {
      return false;
   }
   if( isAsked || isLast_ || output_.size() != before ) {
      beginToWait();
   }
   if( !output_.empty() || open_ || hasLine() ) {
      await( Waiting::writable );
      return true;
   }
   await( Waiting::readable );
   return !isLast_;
}

bool ControlConnection::read() {
   std::array<char, Protocol::longestRequest + 1> bytes;
   const ssize_t count =
         recv( socket_.get(), bytes.data(), bytes.size() - input_.size(), MSG_DONTWAIT );
   if( count < 0 ) {
      return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
   }
   if( count == 0 ) {
      isLast_ = true;
      if( !input_.empty() ) {
         addError( nullptr, Kind::usage, "bad request: the end of its line is missing" );
         input_.clear();
      }
      const auto ends = std::exchange( stream_, std::nullopt ); // and may emit as it does
      return true;
   }
   const std::size_t before = input_.size();
   input_.append( bytes.data(), static_cast<std::size_t>( count ) );
   findLine( before );
   if( !hasLine() && input_.size() > Protocol::longestRequest ) {
      addError( nullptr, Kind::usage,
                "bad request: longer than " + std::to_string( Protocol::longestRequest ) +
                      " bytes" );
      isLast_ = true;
      input_ = std::string();
   }
   return true;
}

void ControlConnection::serveLine() {
   const std::string request = input_.substr( 0, lineEnd_ );
   input_.erase( 0, lineEnd_ + 1 );
   findLine( 0 );
   serve( request );
}

void ControlConnection::serve( std::string_view text ) {
   ControlRequest request;
   try {
      request.read( text );
      if( stream_ ) {
         throw ControlError( Kind::usage, "this connection follows; open another one" );
      }
      if( follow( request.id, request.command, request.arguments ) ) {
         return;
      }
      Answer answer = handler_.answer( request.command, request.arguments, peer_ );
      if( !answer.result.is_object() ) {
         throw ControlError( Kind::failed, "the answer is not an object" );
      }
      open_ = Open{ std::move( request.id ), std::move( answer ), {} };
   } catch( const ControlError &error ) {
      addError( request.id, error.kind(), error.what() );
   } catch( const std::exception &error ) {
      addError( request.id, Kind::failed, error.what() );
   }
}

bool ControlConnection::follow( const Json &id, const std::string &command,
                                const Json &arguments ) {
   // The handler may emit at once, and what it emits comes after the answer: so that stands there
   // before it is known whether it is one.
   const std::size_t before = output_.size();
   add( id, "result", textOf( { { "following", true } } ) );
   stream_.emplace( id );
   const auto takeBack = [&] {
      const auto ends = std::exchange( stream_, std::nullopt );
      output_.shrinkTo( before );
   };
   try {
      auto following = handler_.follow( command, arguments, peer_,
                                        [self = std::weak_ptr( self_ )]( const Json &event ) {
                                           if( const auto connection = self.lock() ) {
                                              ( *connection )->emit( event );
                                           }
                                        } );
      if( following ) {
         stream_->following = std::move( following );
         return true;
      }
   } catch( ... ) {
      takeBack();
      throw;
   }
   takeBack();
   return false;
}

bool ControlConnection::fetchRow() {
   if( !open_->row.empty() ) {
      return true;
   }
   Json row;
   if( !open_->answer.nextRow || !open_->answer.nextRow( row ) ) {
      open_->answer.nextRow = nullptr;
      return false;
   }
   open_->row = textOf( row );
   return true;
}

void ControlConnection::pullRows() {
   const Json id = open_->id;
   try {
      std::string rows;
      for( std::size_t count = 0; count < Protocol::rowsOfLine; ++count ) {
         if( output_.size() + Protocol::bytesOfRows + kRoomForEnd > Protocol::mostOutput ) {
            return; // nothing has been fetched
         }
         if( !fetchRow() ) {
            break;
         }
         if( !rows.empty() && rows.size() + open_->row.size() > Protocol::bytesOfRows ) {
            break;
         }
         rows += ( rows.empty() ? "[" : "," ) + std::exchange( open_->row, std::string() );
      }
      if( !rows.empty() && !add( id, "rows", rows + "]" ) ) {
         // Only a single long row does not fit by now. It may do so in an empty buffer.
         if( output_.empty() ) {
            throw ControlError( Kind::failed, kTooBig );
         }
         open_->row = rows.substr( 1 );
         return;
      }
      if( !open_->answer.nextRow && open_->row.empty() ) {
         finish();
      }
   } catch( const ControlError &error ) {
      open_.reset();
      addError( id, error.kind(), error.what() );
   } catch( const std::exception &error ) {
      open_.reset();
      addError( id, Kind::failed, error.what() );
   }
}

void ControlConnection::finish() {
   Json result = std::move( open_->answer.result );
   if( !open_->answer.rowsName.empty() ) {
      result["rowsName"] = open_->answer.rowsName;
   }
   if( !add( open_->id, "result", textOf( result ) ) ) {
      if( !output_.empty() ) {
         open_->answer.result = std::move( result ); // there will be room for it
         return;
      }
      throw ControlError( Kind::failed, kTooBig );
   }
   open_.reset();
}

void ControlConnection::emit( const Json &event ) {
   if( !stream_ ) {
      return;
   }
   ++stream_->sequence;
   try {
      const auto numbered = []( std::uint64_t sequence, const char *name,
                                const std::string &content ) {
         return std::to_string( sequence ) + ",\"" + name + "\":" + content;
      };
      std::string text = line( stream_->id, "sequence",
                               numbered( stream_->sequence, "event", textOf( event ) ) );
      if( stream_->lost > 0 ) {
         text.insert( 0, line( stream_->id, "sequence",
                               numbered( stream_->sequence - 1, "lost",
                                         std::to_string( stream_->lost ) ) ) );
      }
      if( output_.size() + text.size() <= Protocol::mostOutput ) {
         await( Waiting::writable );
         output_.add( text );
         stream_->lost = 0;
         return;
      }
   } catch( const std::exception & ) {
      // As good as lost.
   }
   ++stream_->lost;
}

bool ControlConnection::add( const Json &id, std::string_view name, std::string_view content ) {
   const std::string text = line( id, name, content );
   if( output_.size() + text.size() > Protocol::mostOutput ) {
      return false;
   }
   output_.add( text );
   return true;
}

void ControlConnection::addError( const Json &id, Kind kind, std::string_view message ) {
   constexpr std::size_t kMostBytes = 2000;
   add( id, "error", errorText( kind, message.substr( 0, kMostBytes ) ) );
}

void ControlConnection::await( Waiting what ) {
   if( waiting_ == what ) {
      return;
   }
   waiting_ = Waiting::nothing;
   subscription_ = EventLoop::Subscription(); // one at a time
   if( what == Waiting::readable ) {
      subscription_ = loop_.onReadable( socket_.get(), [this] { turn(); } );
   } else {
      subscription_ = loop_.onWritable( socket_.get(), [this] { turn(); } );
   }
   waiting_ = what;
}

} // namespace OrloAgent
