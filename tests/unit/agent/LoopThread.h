// An event loop on a thread of its own, so that a test can be a client that blocks.
#ifndef TESTS_UNIT_AGENT_LOOPTHREAD_H
#define TESTS_UNIT_AGENT_LOOPTHREAD_H

#include "agent/EventLoop.h"

#include <gtest/gtest.h>

#include <array>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>

#include <unistd.h>

namespace OrloAgent {

/// What uses the loop is made, asked and destroyed in call(), and must be gone before this is.
class LoopThread {
 public:
   LoopThread() {
      EXPECT_EQ( pipe( pipe_.data() ), 0 );
      orders_ = loop_.onReadable( pipe_[0], [this] { obey(); } );
      thread_ = std::thread( [this] {
         try {
            loop_.run();
         } catch( const std::exception &error ) {
            ADD_FAILURE() << "out of the loop came: " << error.what();
         }
      } );
   }
   ~LoopThread() {
      call( [this] { loop_.stop(); } );
      thread_.join();
      orders_ = EventLoop::Subscription();
      close( pipe_[0] );
      close( pipe_[1] );
   }
   LoopThread( const LoopThread & ) = delete;
   LoopThread &operator=( const LoopThread & ) = delete;

   EventLoop &loop() { return loop_; }

   /// Calls `what` between two events of the loop; gives what it gives, throws what it throws.
   template <class F>
   std::invoke_result_t<F &> call( F &&what ) {
      using Task = std::packaged_task<std::invoke_result_t<F &>()>;
      const auto task = std::make_shared<Task>( std::forward<F>( what ) );
      auto result = task->get_future();
      // The loop's thread is still inside the task when the result is here.
      auto order = std::make_unique<Order>( [task] { ( *task )(); } );
      const Order *const address = order.release();
      EXPECT_EQ( write( pipe_[1], &address, sizeof( address ) ), ssize_t{ sizeof( address ) } );
      return result.get();
   }

   /// Lets the loop go round until `what`, asked there, is true; false: it did not get so.
   template <class F>
   bool eventually( F &&what ) {
      constexpr int kRounds = 200000;
      for( int i = 0; i < kRounds; ++i ) {
         if( call( what ) ) {
            return true;
         }
      }
      return false;
   }
   /// Lets the loop go round often enough for everything that is to be done to be done.
   void settle() {
      constexpr int kRounds = 200;
      for( int i = 0; i < kRounds; ++i ) {
         call( [] {} );
      }
   }

 private:
   using Order = std::function<void()>;

   void obey() {
      Order *address = nullptr;
      EXPECT_EQ( read( pipe_[0], &address, sizeof( address ) ), ssize_t{ sizeof( address ) } );
      const std::unique_ptr<Order> order( address );
      ( *order )();
   }

   EventLoop loop_;
   std::array<int, 2> pipe_{};
   EventLoop::Subscription orders_;
   std::thread thread_;
};

} // namespace OrloAgent

#endif
