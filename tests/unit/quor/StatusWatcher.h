// A watched entity and its watchers, for the tests of notification.
#ifndef TESTS_UNIT_QUOR_STATUSWATCHER_H
#define TESTS_UNIT_QUOR_STATUSWATCHER_H

#include "platform/HardwareStatus.h"

#include <exception>
#include <functional>
#include <utility>
#include <vector>

namespace Quor {

using Log = std::vector<String>;

/// A hardware status that tells when it goes.
class LoggedStatus : public Routing::Fhrp::Hardware::Status {
 public:
   explicit LoggedStatus( Log &log ) : log_( log ) {}
   ~LoggedStatus() override { log_.push_back( "the status is destroyed" ); }

 private:
   Log &log_;
};

/// Watches a hardware status. Writes down what it hears, "A hears 2", and then does what the test
/// has asked for.
class StatusWatcher : public Routing::Fhrp::Hardware::Status::NotifieeConst {
 public:
   using Reaction = std::function<void()>;

   StatusWatcher( Log &log, String name ) : log_( log ), name_( std::move( name ) ) {}
   ~StatusWatcher() override { log_.push_back( name_ + " is destroyed" ); }

   /// What it does whenever it hears of a change.
   void reactionIs( Reaction reaction ) { reaction_ = std::move( reaction ); }
   /// What it does when one of its callbacks has thrown.
   void answerIs( Reaction answer ) { answer_ = std::move( answer ); }
   /// What it does when the status goes.
   void farewellIs( Reaction farewell ) { farewell_ = std::move( farewell ); }

   void onVirtualRouterCount() override { hear( heard(), reaction_ ); }
   void onZeroReferences() override { hear( "goodbye to " + heard(), farewell_ ); }
   void onNotificationException( AttrId id ) override {
      hear( "of its failure in " + std::to_string( id ) + ": " + thrown(), answer_ );
   }

 private:
   void hear( const String &what, const Reaction &reaction ) {
      log_.push_back( name_ + " hears " + what );
      if( const Reaction now = reaction ) { // a copy: it may replace itself
         now();
      }
   }
   String heard() const {
      const auto status = notifier();
      return status ? std::to_string( status->virtualRouterCount() ) : "nothing";
   }
   static String thrown() {
      try {
         std::rethrow_exception( std::current_exception() );
      } catch( const std::exception &error ) {
         return error.what();
      } catch( int number ) {
         return std::to_string( number );
      }
   }

   Log &log_;
   const String name_;
   Reaction reaction_;
   Reaction answer_;
   Reaction farewell_;
};

/// A hardware status with three watchers, registered in the order of their names.
struct WatchedStatus {
   Log log; // outlives the others
   Ptr<LoggedStatus> status = make<LoggedStatus>( log );
   Ptr<StatusWatcher> a = make<StatusWatcher>( log, "A" );
   Ptr<StatusWatcher> b = make<StatusWatcher>( log, "B" );
   Ptr<StatusWatcher> c = make<StatusWatcher>( log, "C" );

   /// The bindings of the watchers keep the status alive or not.
   explicit WatchedStatus( Binding binding = Binding::counted ) {
      for( const Ptr<StatusWatcher> &watcher : { a, b, c } ) {
         if( binding == Binding::counted ) {
            watcher->notifierIs( status );
         } else {
            watcher->uncountedNotifierIs( status );
         }
         watcher->isRegisteredNotifieeIs( true );
      }
   }

   /// What is heard when the number of indexes changes to `count`.
   Log changeTo( U32 count ) {
      log.clear();
      status->virtualRouterCountIs( count );
      return std::exchange( log, {} );
   }
};

} // namespace Quor

#endif
