// The bytes of one try, taken piece by piece. Pieces stand one behind the other, so that a change
// of one byte changes one thing.
#ifndef TESTS_FUZZ_INPUT_H
#define TESTS_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Fuzz {

/// Does not own the bytes. Behind their end everything is 0 or empty.
class Input {
 public:
   Input( const std::uint8_t *bytes, std::size_t size )
         : rest_( reinterpret_cast<const char *>( bytes ), size ) {}

   bool empty() const noexcept { return rest_.empty(); }
   std::uint8_t byte() {
      const std::string_view one = take( 1 );
      return one.empty() ? std::uint8_t{ 0 } : static_cast<std::uint8_t>( one[0] );
   }
   /// 0 to `count` - 1.
   std::uint32_t below( std::uint32_t count ) { return byte() % count; }
   /// Two bytes, the lower one first.
   std::uint16_t word() {
      const auto low = byte();
      return static_cast<std::uint16_t>( low | byte() << 8 );
   }
   std::string_view take( std::size_t count ) {
      const std::string_view taken = rest_.substr( 0, count );
      rest_.remove_prefix( taken.size() );
      return taken;
   }
   std::string_view rest() { return take( rest_.size() ); }
   /// Without its end.
   std::string_view line() {
      const std::string_view taken = take( std::min( rest_.find( '\n' ), rest_.size() ) );
      take( 1 );
      return taken;
   }

 private:
   std::string_view rest_;
};

} // namespace Fuzz

#endif
