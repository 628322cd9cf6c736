// The saved slot table. Four bytes say how many slots there are to be, which of three devices are
// masters, how the file is made, and how many operations follow, a byte each. The rest is the file;
// or, so that more of them get past the checks of its header, what stands in the slots of one.
//
//    - Who only looks gets what is in the slots, or a text; the file stays as it is.
//    - It opens: what was seen in it is in its slots; or it is set aside, byte for byte, and the
//      administrator is told. Then it takes operations, and has them when it is opened again.
//    - An agent starts on it, whatever pairs it holds: what the hardware holds is what is wanted
//      then, and stays so when devices come and go. What somebody else does to the table meanwhile
//      (the same operations) is mended by a repair. The next agent writes nothing.
#include "agent/hardware/SlotFile.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"
#include "tests/unit/agent/SwitchWithAgent.h"

#include <filesystem>
#include <fstream>

using Fuzz::check;
using namespace OrloAgent;
using Quor::U32;
using Slots = std::vector<std::optional<Pair>>;

namespace {

constexpr U32 kMostSlots = 12;

std::string bytesOf( const std::string &path ) {
   std::ifstream in( path, std::ios::binary );
   return { std::istreambuf_iterator<char>( in ), {} };
}

void write( const std::string &path, std::string_view bytes ) {
   std::ofstream( path, std::ios::binary | std::ios::trunc ) << bytes;
}

/// A table with these bytes in its slots.
std::string tableOf( const std::string &path, std::string_view slots ) {
   SlotFile( path, static_cast<U32>( slots.size() / 8 ), []( const std::string & ) {} );
   std::string bytes = bytesOf( path );
   bytes.replace( bytes.size() - slots.size() / 8 * 8, std::string::npos,
                  slots.substr( 0, slots.size() / 8 * 8 ) );
   std::filesystem::remove( path );
   return bytes;
}

/// Empty when it is no table; then `flaw` says why.
Slots seen( const std::string &path, std::string &flaw ) {
   try {
      return SlotFile::read( path );
   } catch( const HardwareError &error ) {
      flaw = error.what();
      const std::string before = "cannot read the slot table " + path + ": ";
      check( flaw.starts_with( before ) && flaw.size() > before.size(), "no reason: " + flaw );
      flaw.erase( 0, before.size() );
      return {};
   }
}

/// What is in the first `count` slots.
Slots cutTo( Slots slots, U32 count ) {
   slots.resize( count );
   return slots;
}

void operate( SlotFile &file, Slots &slots, std::uint8_t what ) {
   const U32 index = ( what & 0x3fu ) % file.count();
   if( ( what & 0x80 ) != 0 ) {
      slots[index] = Pair( Bridging::VlanId( what & 0x7f ), vrrpMac( what ) );
      file.slotIs( index, *slots[index], ( what & 0x40 ) != 0 );
   } else {
      slots[index].reset();
      file.slotDel( index );
   }
}

void tryFile( const std::string &path, U32 count, SlotFile::Size size, std::string_view operations,
              const std::string &bytes ) {
   write( path, bytes );
   std::string flaw;
   const Slots before = seen( path, flaw );
   check( bytesOf( path ) == bytes, "a look has changed the file" );

   std::vector<std::string> notices;
   Slots slots;
   {
      SlotFile file(
            path, count, [&]( const std::string &what ) { notices.push_back( what ); }, size );
      const bool keepsAll = size == SlotFile::Size::atLeast && before.size() > count;
      check( file.count() == ( keepsAll ? before.size() : count ), "another number of slots" );
      slots = file.slots();
      check( slots == cutTo( before, file.count() ), "other pairs than were seen" );
      if( !flaw.empty() ) {
         check( notices.size() == 1 && notices[0].find( flaw ) != std::string::npos,
                "nobody was told: " + flaw );
         check( bytesOf( path + ".aside-1" ) == bytes, "it was not set aside as it was" );
      } else {
         check( notices.size() <= 1 && !std::filesystem::exists( path + ".aside-1" ),
                "a good table was set aside" );
      }
      for( const char operation : file.count() == 0 ? std::string_view() : operations ) {
         operate( file, slots, static_cast<std::uint8_t>( operation ) );
         check( file.slots() == slots, "an operation did something else" );
      }
   }
   flaw.clear();
   check( seen( path, flaw ) == slots && flaw.empty(), "what was written is not there: " + flaw );
   std::filesystem::remove( path + ".aside-1" );
}

void checkHardware( SwitchWithAgent &on, const char *when ) {
   const Programming &programming = on.agent_->programming();
   const Audit audit = programming.audit();
   check( audit.differences().empty(), std::string( "the hardware holds something else " ) + when );
   check( audit.held() == std::min<std::size_t>( audit.wanted(), programming.indexes() ),
          std::string( "an index is idle " ) + when );
}

void toggle( SwitchWithAgent &on, IfIndex device, bool isMaster ) {
   isMaster ? on.becomeBackup( device ) : on.becomeMaster( device );
   on.kernel_.quiet();
}

void scribble( SwitchWithAgent &on, std::string_view operations ) {
   auto &file = const_cast<SlotFile &>( on.helper().slots() );
   Slots slots = file.slots();
   for( const char operation : slots.empty() ? std::string_view() : operations ) {
      operate( file, slots, static_cast<std::uint8_t>( operation ) );
   }
}

void tryAgent( SwitchWithAgent &on, U32 indexes, std::uint32_t masters, std::string_view operations,
               const std::string &bytes ) {
   write( on.folder_.path( "slots" ), bytes );
   for( Quor::U8 i = 0; i < 3; ++i ) {
      on.deviceIs( kDevice51 + i, static_cast<Quor::U8>( 51 + i ) );
      if( ( masters >> i & 1 ) != 0 ) {
         on.becomeMaster( kDevice51 + i );
      }
   }
   on.startAndRead( indexes );
   checkHardware( on, "after the start" );
   for( IfIndex i = 0; i < 3; ++i ) {
      toggle( on, kDevice51 + i, ( masters >> i & 1 ) != 0 );
      checkHardware( on, "after a fail-over" );
   }
   scribble( on, operations );
   toggle( on, kDevice51, ( masters & 1 ) == 0 ); // perhaps into a slot that is taken
   on.agent_->programming().repair();
   on.agent_->work();
   checkHardware( on, "after a repair" );
   const Quor::U64 writes = on.writes();
   on.agent_.reset();
   on.startAndRead( indexes );
   checkHardware( on, "after a restart" );
   check( on.writes() == writes, "the next agent has written what was there" );
   on.agent_.reset();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   Fuzz::Input input( bytes, size );
   const U32 indexes = input.below( kMostSlots + 1 );
   const std::uint32_t masters = input.below( 8 );
   const std::uint32_t how = input.below( 4 );
   const std::string_view operations = input.take( input.below( 32 ) );
   SwitchWithAgent on;
   const std::string path = on.folder_.path( "slots" );
   const std::string file =
         ( how & 1 ) != 0 ? tableOf( path, input.rest() ) : std::string( input.rest() );
   tryFile( path, indexes, ( how & 2 ) != 0 ? SlotFile::Size::atLeast : SlotFile::Size::exact,
            operations, file );
   tryAgent( on, indexes, masters, operations, file );
   return 0;
}
