// What a process may do beside of what everybody may (capabilities(7)).
#ifndef ORLOAGENT_CAPABILITIES_H
#define ORLOAGENT_CAPABILITIES_H

#include "quor/Types.h"

#include <initializer_list>
#include <optional>
#include <string>

namespace OrloAgent {

/// A set of capabilities, by the numbers of linux/capability.h. A value; costs a word.
class Capabilities {
 public:
   Capabilities() = default;
   Capabilities( std::initializer_list<int> numbers );

   /// All that this kernel has.
   static Capabilities all();
   /// What the calling thread may use. Throws std::system_error.
   static Capabilities held();
   /// "CAP_NET_ADMIN", in either case; none when there is no such capability.
   static std::optional<Capabilities> named( const std::string &name );

   bool isEmpty() const noexcept { return bits_ == 0; }
   bool has( int number ) const noexcept { return ( bits_ >> number & 1 ) != 0; }
   Capabilities with( const Capabilities &other ) const { return of( bits_ | other.bits_ ); }
   Capabilities without( const Capabilities &other ) const { return of( bits_ & ~other.bits_ ); }
   Capabilities commonWith( const Capabilities &other ) const { return of( bits_ & other.bits_ ); }
   bool operator==( const Capabilities & ) const = default;

   /// "CAP_NET_ADMIN CAP_BPF" in the order of their numbers, as a unit file has them; "none".
   std::string text() const;

   /// From now on the calling thread, and what it starts, has these and nothing else: they are
   /// effective, and cannot be handed on. Of those that may come back with another program it
   /// keeps `bounding`, as far as the system lets it take the others out. Throws std::system_error.
   static void keepOnly( const Capabilities &kept, const Capabilities &bounding );

 private:
   static Capabilities of( Quor::U64 bits );

   Quor::U64 bits_ = 0;
};

} // namespace OrloAgent

#endif
