// Something that is tried in a process of its own, because it may stop the process.
#ifndef TESTS_MODEL_CHILD_H
#define TESTS_MODEL_CHILD_H

#include <functional>
#include <string>

#include <sys/types.h>

namespace ModelTests {

/// A fork of this process. Its standard error, and what it writes to the descriptor that it is
/// given, can be read here. One thread: a fork has no other.
class Child {
 public:
   /// `work` gets the descriptor; the child ends with what it returns as its exit status.
   /// What it throws is its last words.
   explicit Child( const std::function<int( int )> &work );
   /// Waits for the end.
   ~Child();
   Child( const Child & ) = delete;
   Child &operator=( const Child & ) = delete;

   /// Reads everything and waits for the end.
   void wait();
   const std::string &output() const noexcept { return output_; }
   /// It returned, with this status.
   bool ended( int status ) const noexcept;
   /// It stopped by an assertion.
   bool aborted() const noexcept;

 private:
   pid_t pid_ = -1;
   int from_ = -1;
   int status_ = 0;
   std::string output_;
};

} // namespace ModelTests

#endif
