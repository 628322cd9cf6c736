#include "agent/EventLoop.h"

#include <csignal>
#include <cstdint>
#include <sys/epoll.h>
#include <system_error>
#include <systemd/sd-event.h>
#include <utility>

namespace OrloAgent {

namespace {

int checked( int result, const char *doing ) {
   if( result < 0 ) {
      throw std::system_error( -result, std::generic_category(), doing );
   }
   return result;
}

} // namespace

struct EventLoop::State final : Subscription::Source {
   State( EventLoop &of, Callback what ) : loop( of ), callback( std::move( what ) ) {}
   ~State() override { sd_event_source_disable_unref( source ); }

   static int run( void *state ) noexcept {
      State &self = *static_cast<State *>( state );
      return self.loop.call( self );
   }

   EventLoop &loop;
   const Callback callback;
   sd_event_source *source = nullptr;
};

EventLoop::EventLoop() {
   checked( sd_event_new( &event_ ), "cannot make an event loop" );
}

EventLoop::~EventLoop() {
   sd_event_unref( event_ );
}

Events::Subscription EventLoop::onReadable( int fd, Callback callback ) {
   return onEvents( fd, EPOLLIN, std::move( callback ) );
}

Events::Subscription EventLoop::onWritable( int fd, Callback callback ) {
   return onEvents( fd, EPOLLOUT, std::move( callback ) );
}

Events::Subscription EventLoop::onEvents( int fd, std::uint32_t events, Callback callback ) {
   auto state = std::make_unique<State>( *this, std::move( callback ) );
   checked( sd_event_add_io(
                  event_, &state->source, fd, events,
                  []( sd_event_source *, int, std::uint32_t, void *made ) {
                     return State::run( made );
                  },
                  state.get() ),
            "cannot watch a socket" );
   return Subscription( std::move( state ) );
}

Events::Subscription EventLoop::onSignal( int signal, Callback callback ) {
   auto state = std::make_unique<State>( *this, std::move( callback ) );
   sigset_t blocked;
   sigemptyset( &blocked );
   sigaddset( &blocked, signal );
   checked( -pthread_sigmask( SIG_BLOCK, &blocked, nullptr ), "cannot block a signal" );
   checked( sd_event_add_signal(
                  event_, &state->source, signal,
                  []( sd_event_source *, const signalfd_siginfo *, void *made ) {
                     return State::run( made );
                  },
                  state.get() ),
            "cannot watch a signal" );
   return Subscription( std::move( state ) );
}

Events::Subscription EventLoop::after( std::chrono::microseconds delay, Callback callback ) {
   auto state = std::make_unique<State>( *this, std::move( callback ) );
   checked( sd_event_add_time_relative(
                  event_, &state->source, CLOCK_MONOTONIC,
                  static_cast<std::uint64_t>( delay.count() ), 1,
                  []( sd_event_source *, std::uint64_t, void *made ) { return State::run( made ); },
                  state.get() ),
            "cannot set a timer" );
   return Subscription( std::move( state ) );
}

int EventLoop::call( State &state ) noexcept {
   try {
      const Callback callback = state.callback; // outlives a subscription that it ends itself
      callback();
   } catch( ... ) {
      thrown_ = std::current_exception();
      sd_event_exit( event_, 1 );
   }
   return 0;
}

void EventLoop::keepWatchdog() {
   checked( sd_event_set_watchdog( event_, 1 ), "cannot keep the watchdog" );
}

void EventLoop::run() {
   const int result = sd_event_loop( event_ );
   if( thrown_ ) {
      std::rethrow_exception( std::exchange( thrown_, nullptr ) );
   }
   checked( result, "the event loop failed" );
}

void EventLoop::stop() {
   checked( sd_event_exit( event_, 0 ), "cannot end the event loop" );
}

} // namespace OrloAgent
