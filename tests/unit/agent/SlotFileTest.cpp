// The slot table outlives its process, whatever ends it, and tells a broken file from a good one.
#include "agent/hardware/SlotFile.h"
#include "tests/unit/agent/FakeKernel.h"
#include "tests/unit/agent/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

Pair pair( Quor::U16 vlan, Quor::U8 vrid ) {
   return { Bridging::VlanId( vlan ), vrrpMac( vrid ) };
}

using Contents = std::map<Quor::U32, Pair>;

Contents contentsOf( const SlotFile &slots ) {
   Contents contents;
   for( Quor::U32 index = 0; index < slots.count(); ++index ) {
      if( const std::optional<Pair> there = slots.slot( index ) ) {
         contents.emplace( index, *there );
      }
   }
   return contents;
}

class SlotFileTest : public testing::Test {
 protected:
   std::unique_ptr<SlotFile> open( Quor::U32 count, SlotFile::Size size = SlotFile::Size::exact ) {
      return std::make_unique<SlotFile>(
            path(), count, [this]( const std::string &what ) { notices_.push_back( what ); },
            size );
   }
   /// What opening answers; empty when it works.
   std::string answer( Quor::U32 count, const std::string &path ) {
      try {
         const SlotFile slots( path, count,
                               [this]( const std::string &what ) { notices_.push_back( what ); } );
         return {};
      } catch( const HardwareError &error ) {
         return error.what();
      }
   }
   /// What somebody sees who only looks: "index: pair" each, or why he cannot.
   std::string seen() const {
      try {
         std::string all;
         Quor::U32 index = 0;
         for( const std::optional<Pair> &there : SlotFile::read( path() ) ) {
            all += there ? std::to_string( index ) + ": " + valueToStrep( there->vlanId() ) + " " +
                                 valueToStrep( there->mac() ) + "\n"
                         : "";
            ++index;
         }
         return all;
      } catch( const HardwareError &error ) {
         return error.what();
      }
   }
   std::string path( const std::string &name = "slots" ) const { return folder_.path( name ); }
   std::string bytes( const std::string &name = "slots" ) const {
      std::ifstream file( path( name ), std::ios::binary );
      std::stringstream all;
      all << file.rdbuf();
      return all.str();
   }
   void write( const std::string &all, const std::string &name = "slots" ) const {
      std::ofstream( path( name ), std::ios::binary ) << all;
   }
   bool exists( const std::string &name ) const { return std::filesystem::exists( path( name ) ); }

   TemporaryFolder folder_;
   std::vector<std::string> notices_;
};

TEST_F( SlotFileTest, ANewOneIsEmpty ) {
   const auto slots = open( 5 );
   EXPECT_EQ( slots->count(), 5u );
   EXPECT_EQ( slots->writes(), 0u );
   EXPECT_EQ( contentsOf( *slots ), Contents{} );
   EXPECT_EQ( std::filesystem::file_size( path() ), 64u + 5 * 8 );
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, KeepsWhatIsWrittenForTheNextProcess ) {
   {
      const auto slots = open( 5 );
      slots->slotIs( 0, pair( 10, 51 ) );
      slots->slotIs( 4, pair( 4094, 255 ) );
      slots->slotIs( 2, pair( 11, 52 ) );
      slots->slotDel( 2 );
   }
   const auto slots = open( 5 );
   EXPECT_EQ( contentsOf( *slots ),
              ( Contents{ { 0, pair( 10, 51 ) }, { 4, pair( 4094, 255 ) } } ) );
   EXPECT_EQ( slots->writes(), 4u );
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, EveryVlanAndMacComesBackAsItWas ) {
   const auto slots = open( 1 );
   for( const int vlan : { 0, 1, 2047, 2048, 4094, 4095 } ) {
      for( const char *text : { "00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff", "12:34:56:78:9a:bc" } ) {
         const Pair written( Bridging::VlanId( static_cast<Quor::U16>( vlan ) ), mac( text ) );
         slots->slotIs( 0, written );
         EXPECT_EQ( slots->slot( 0 ), written );
      }
   }
}

TEST_F( SlotFileTest, ATableWithoutSlots ) {
   EXPECT_EQ( open( 0 )->count(), 0u );
   EXPECT_EQ( open( 0 )->count(), 0u );
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, AnotherSizeKeepsWhatFits ) {
   {
      const auto slots = open( 5 );
      for( Quor::U32 index = 0; index < 5; ++index ) {
         slots->slotIs( index, pair( 10, static_cast<Quor::U8>( index + 1 ) ) );
      }
   }
   {
      const auto slots = open( 3 );
      EXPECT_EQ( contentsOf( *slots ),
                 ( Contents{ { 0, pair( 10, 1 ) }, { 1, pair( 10, 2 ) }, { 2, pair( 10, 3 ) } } ) );
      EXPECT_EQ( std::filesystem::file_size( path() ), 64u + 3 * 8 );
   }
   {
      const auto slots = open( 1000 );
      EXPECT_EQ( contentsOf( *slots ),
                 ( Contents{ { 0, pair( 10, 1 ) }, { 1, pair( 10, 2 ) }, { 2, pair( 10, 3 ) } } ) );
      slots->slotIs( 999, pair( 20, 1 ) );
      EXPECT_EQ( slots->writes(), 6u );
   }
   EXPECT_EQ( open( 0 )->count(), 0u );
   EXPECT_EQ( contentsOf( *open( 2 ) ), Contents{} );
   EXPECT_EQ(
         notices_,
         ( std::vector<std::string>{
               "the slot table " + path() + " had 5 slots and has 3 now; entries dropped: 2",
               "the slot table " + path() + " had 3 slots and has 1000 now",
               "the slot table " + path() + " had 1000 slots and has 0 now; entries dropped: 4",
               "the slot table " + path() + " had 0 slots and has 2 now" } ) );
}

TEST_F( SlotFileTest, WhoNeedsWhatStandsBehindItsSlotsKeepsIt ) {
   open( 5 )->slotIs( 4, pair( 10, 51 ) );

   const auto slots = open( 3, SlotFile::Size::atLeast );

   EXPECT_EQ( slots->count(), 5u );
   EXPECT_EQ( contentsOf( *slots ), ( Contents{ { 4, pair( 10, 51 ) } } ) );
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, APairMayBeForeign ) {
   {
      const auto slots = open( 3 );
      slots->slotIs( 0, pair( 10, 51 ) );
      slots->slotIs( 1, pair( 11, 51 ), true );
   }
   const auto slots = open( 3 );
   EXPECT_EQ( contentsOf( *slots ), ( Contents{ { 0, pair( 10, 51 ) }, { 1, pair( 11, 51 ) } } ) );
   EXPECT_EQ(
         ( std::vector{ slots->isForeign( 0 ), slots->isForeign( 1 ), slots->isForeign( 2 ) } ),
         ( std::vector{ false, true, false } ) );
   slots->slotIs( 1, pair( 11, 51 ) );
   EXPECT_FALSE( slots->isForeign( 1 ) );
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, AnybodyCanReadItBesideItsProcess ) {
   using Slots = std::vector<std::optional<Pair>>;
   EXPECT_EQ( SlotFile::read( path() ), Slots{} );
   EXPECT_FALSE( std::filesystem::exists( path() ) );

   const auto slots = open( 3 );
   slots->slotIs( 1, pair( 10, 51 ) );
   const Slots expected{ std::nullopt, pair( 10, 51 ), std::nullopt };
   EXPECT_EQ( SlotFile::read( path() ), expected );
   EXPECT_EQ( slots->slots(), expected );

   std::ofstream( path( "other" ) ) << "what is this?";
   EXPECT_THROW( SlotFile::read( path( "other" ) ), HardwareError );
   EXPECT_THROW( SlotFile::read( path() + "/slots" ), HardwareError );
}

TEST_F( SlotFileTest, ABrokenFileIsSetAsideAndReplaced ) {
   {
      const auto slots = open( 5 );
      slots->slotIs( 1, pair( 10, 51 ) );
   }
   const std::string good = bytes();
   const auto with = [&]( std::size_t at, int value ) {
      std::string changed = good;
      changed[at] = static_cast<char>( value );
      return changed;
   };
   struct Row {
      std::string bytes;
      const char *flaw;
   };
   const std::vector<Row> rows{
         { "something else", "it is no slot table" },
         { std::string( 4096, 'x' ), "it is no slot table" },
         { good.substr( 0, 63 ), "it is no slot table" },
         { with( 0, 0 ), "it is no slot table" },
         { std::string( 8, '\0' ) + good.substr( 8 ), "it is no slot table" },
         { with( 8, 2 ), "it is of another version" },
         { with( 15, 1 ), "it is of another version" },
         { with( 16, 6 ), "its header is corrupt" },
         { with( 22, good[22] ^ 1 ), "its header is corrupt" },
         { with( 40, 1 ), "its header is corrupt" },
         { with( 63, 1 ), "its header is corrupt" },
         { good.substr( 0, 64 ), "it is shorter than its 5 slots" },
         { good.substr( 0, good.size() - 1 ), "it is shorter than its 5 slots" },
         { with( 64, 1 ), "slot 0 is corrupt" },
         { with( 64 + 8 + 7, 0x10 ), "slot 1 is corrupt" },
         { with( 64 + 4 * 8 + 7, 0xef ), "slot 4 is corrupt" },
   };
   for( const Row &row : rows ) {
      write( row.bytes );
      EXPECT_EQ( seen(), "cannot read the slot table " + path() + ": " + row.flaw );
      EXPECT_EQ( bytes(), row.bytes ) << "a look changes nothing";
      notices_.clear();
      const auto slots = open( 5 );
      EXPECT_EQ( contentsOf( *slots ), Contents{} ) << row.flaw;
      EXPECT_EQ( notices_, std::vector{ "the slot table " + path() + " cannot be used: " +
                                        row.flaw + "; set aside as " + path() +
                                        ".aside-1, an empty one with 5 slots takes its place" } );
      EXPECT_EQ( bytes( "slots.aside-1" ), row.bytes ) << row.flaw;
      std::filesystem::remove( path( "slots.aside-1" ) );
   }
   write( good );
   notices_.clear();
   EXPECT_EQ( contentsOf( *open( 5 ) ), ( Contents{ { 1, pair( 10, 51 ) } } ) );
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, WhatIsCutShortUnderARunningProcessIsMadeAgainAsItWas ) {
   const Contents contents{ { 0, pair( 10, 51 ) }, { 700, pair( 11, 51 ) } };
   const auto slots = open( 1000 );
   for( const auto &[index, one] : contents ) {
      slots->slotIs( index, one );
   }
   const std::string good = bytes();
   for( const std::size_t size : { 0u, 1u, 63u, 64u, 72u, 4096u, 8063u } ) {
      std::filesystem::resize_file( path(), size );
      EXPECT_FALSE( slots->isWhole() ) << size;
      EXPECT_THROW( slots->needWhole(), HardwareError ) << size;
      notices_.clear();

      slots->mend( [this]( const std::string &what ) { notices_.push_back( what ); } );

      EXPECT_TRUE( slots->isWhole() ) << size;
      EXPECT_EQ( contentsOf( *slots ), contents ) << size;
      EXPECT_EQ( bytes().substr( 64 ), good.substr( 64 ) ) << size;
      EXPECT_EQ( notices_, std::vector{ "somebody has cut short the slot table " + path() +
                                        ": it is made again as it was" } );
   }
   EXPECT_EQ( seen(), "0: 10 00:00:5e:00:01:33\n700: 11 00:00:5e:00:01:33\n" );
   notices_.clear();
   slots->mend( [this]( const std::string &what ) { notices_.push_back( what ); } );
   EXPECT_TRUE( notices_.empty() ) << "there is nothing to mend any more";
}

TEST_F( SlotFileTest, WhatIsRemovedOrReplacedUnderARunningProcessIsMadeAgainAsItWas ) {
   const auto slots = open( 5 );
   slots->slotIs( 3, pair( 10, 51 ) );
   slots->slotIs( 4, pair( 11, 51 ), true );
   const auto mend = [&] {
      notices_.clear();
      slots->mend( [this]( const std::string &what ) { notices_.push_back( what ); } );
   };
   const std::string mended = "somebody has removed or replaced the slot table " + path() +
                              ": it is made again as it was";

   std::filesystem::remove( path() );
   mend();
   EXPECT_EQ( notices_, std::vector{ mended } );
   EXPECT_EQ( seen(), "3: 10 00:00:5e:00:01:33\n4: 11 00:00:5e:00:01:33\n" );
   EXPECT_TRUE( slots->isForeign( 4 ) );

   write( "something else", "other" );
   std::filesystem::rename( path( "other" ), path() );
   mend();
   EXPECT_EQ( notices_.size(), 2u );
   EXPECT_EQ( notices_.back(), mended );
   EXPECT_EQ( bytes( "slots.aside-1" ), "something else" );
   slots->slotDel( 4 );
   EXPECT_EQ( seen(), "3: 10 00:00:5e:00:01:33\n" );
   EXPECT_NE( answer( 5, path() ), "" ) << "nobody else can have it meanwhile";
}

TEST_F( SlotFileTest, NineFilesSetAsideAreKept ) {
   for( int i = 1; i <= 11; ++i ) {
      write( "broken " + std::to_string( i ) );
      open( 1 );
   }
   EXPECT_EQ( bytes( "slots.aside-1" ), "broken 1" );
   EXPECT_EQ( bytes( "slots.aside-8" ), "broken 8" );
   EXPECT_EQ( bytes( "slots.aside-9" ), "broken 11" );
   EXPECT_FALSE( exists( "slots.aside-10" ) );
}

TEST_F( SlotFileTest, AFileWhoseMakerWasInterruptedIsFinished ) {
   for( const std::size_t size : { 0u, 1u, 64u, 104u, 10000u } ) {
      write( std::string( size, '\0' ) );
      EXPECT_EQ( contentsOf( *open( 5 ) ), Contents{} ) << size;
      EXPECT_EQ( std::filesystem::file_size( path() ), 64u + 5 * 8 ) << size;
   }
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, BytesBehindTheSlotsAreNotTakenForSlots ) {
   open( 2 );
   write( bytes() + std::string( 80, 'x' ) );
   EXPECT_EQ( contentsOf( *open( 8 ) ), Contents{} );
   EXPECT_EQ( notices_, std::vector{ "the slot table " + path() + " had 2 slots and has 8 now" } );
}

TEST_F( SlotFileTest, TwoAgentsCannotShareIt ) {
   {
      const auto slots = open( 5 );
      slots->slotIs( 1, pair( 10, 51 ) );
      EXPECT_EQ( answer( 5, path() ),
                 "cannot lock the slot table " + path() +
                       ": Resource temporarily unavailable; another orlo-agent uses it: stop that "
                       "one, or choose another path" );
      EXPECT_EQ( slots->slot( 1 ), pair( 10, 51 ) );
   }
   EXPECT_EQ( answer( 5, path() ), "" );
}

TEST_F( SlotFileTest, WhoOnlyLooksNeedsNoLockAndMakesNothing ) {
   EXPECT_EQ( seen(), "" );
   EXPECT_FALSE( exists( "slots" ) );
   const auto slots = open( 5 );
   EXPECT_EQ( seen(), "" );
   slots->slotIs( 0, pair( 10, 51 ) );
   slots->slotIs( 4, pair( 4094, 255 ) );
   EXPECT_EQ( seen(), "0: 10 00:00:5e:00:01:33\n4: 4094 00:00:5e:00:01:ff\n" );
   std::filesystem::remove( path() );
   write( "" );
   EXPECT_EQ( seen(), "" ) << "its maker was interrupted";
   EXPECT_EQ( bytes(), "" );
   std::filesystem::remove( path() );
   std::filesystem::create_directory( path() );
   EXPECT_EQ( seen(), "cannot read the slot table " + path() + ": it is not a regular file" );
}

TEST_F( SlotFileTest, WhereNoTableCanBe ) {
   EXPECT_EQ( answer( 5, path( "none/slots" ) ),
              "cannot open the slot table " + path( "none/slots" ) +
                    ": No such file or directory; make its directory first" );
   EXPECT_EQ( answer( 5, path( "" ) ),
              "cannot open the slot table " + path( "" ) + ": Is a directory" );
   ASSERT_EQ( mkfifo( path( "pipe" ).c_str(), 0600 ), 0 );
   EXPECT_EQ( answer( 5, path( "pipe" ) ),
              path( "pipe" ) + " is not a regular file; choose another path for the slot table" );
   EXPECT_EQ( answer( 5, "/dev/null" ),
              "/dev/null is not a regular file; choose another path for the slot table" );
}

TEST_F( SlotFileTest, AFullDiskIsFoundOutWhenTheTableIsMade ) {
   // A limit on the size of files stands in for the disk: it needs no privileges.
   const auto limited = [&] {
      std::signal( SIGXFSZ, SIG_IGN );
      const rlimit limit{ 4096, 4096 };
      setrlimit( RLIMIT_FSIZE, &limit );
      return answer( 1000, path() );
   };
   EXPECT_EXIT(
         {
            std::fputs( limited().c_str(), stderr );
            std::_Exit( 0 );
         },
         testing::ExitedWithCode( 0 ),
         "cannot allocate the slot table .*: File too large; it needs 8064 bytes on its file "
         "system" );
   // With room again it is made.
   EXPECT_EQ( answer( 1000, path() ), "" );
   EXPECT_TRUE( notices_.empty() );
}

/// Runs `work` in a process of its own and kills it with SIGKILL after a while.
void killInTheMiddle( std::chrono::microseconds after, const std::function<void()> &work ) {
   const pid_t child = fork();
   ASSERT_GE( child, 0 );
   if( child == 0 ) {
      try {
         for( ;; ) {
            work();
         }
      } catch( ... ) {
         _exit( 1 );
      }
   }
   std::this_thread::sleep_for( after );
   kill( child, SIGKILL );
   int status = 0;
   ASSERT_EQ( waitpid( child, &status, 0 ), child );
   ASSERT_TRUE( WIFSIGNALED( status ) ) << "the work failed";
}

TEST_F( SlotFileTest, KilledWhileItWritesEverySlotIsOldOrNew ) {
   const Pair old( Bridging::VlanId( 1 ), mac( "00:00:00:00:00:00" ) );
   const Pair recent( Bridging::VlanId( 4094 ), mac( "ff:ff:ff:ff:ff:ff" ) );
   std::mt19937 random( 1 );
   for( int round = 0; round < 40; ++round ) {
      killInTheMiddle( std::chrono::microseconds( 1000 + random() % 2000 ), [&] {
         SlotFile slots( path(), 64, []( const std::string & ) { _exit( 2 ); } );
         for( ;; ) {
            for( const Pair &pair : { old, recent } ) {
               for( Quor::U32 index = 0; index < 64; ++index ) {
                  slots.slotIs( index, pair );
                  if( index % 3 == 0 ) {
                     slots.slotDel( index );
                  }
               }
            }
         }
      } );
      const auto slots = open( 64 );
      for( const auto &[index, pair] : contentsOf( *slots ) ) {
         EXPECT_TRUE( pair == old || pair == recent ) << index << " " << pair;
      }
   }
   EXPECT_TRUE( notices_.empty() );
}

TEST_F( SlotFileTest, KilledWhileItIsResizedWhatFitsBothSizesStays ) {
   open( 4 )->slotIs( 1, pair( 10, 51 ) );
   std::mt19937 random( 1 );
   for( int round = 0; round < 40; ++round ) {
      killInTheMiddle( std::chrono::microseconds( 500 + random() % 2000 ), [&] {
         for( const Quor::U32 count : { 4u, 10000u, 2u, 600u } ) {
            SlotFile slots( path(), count, []( const std::string & ) {} );
            if( count > 2 ) {
               slots.slotIs( count - 1, pair( 11, 51 ) );
            }
         }
      } );
      notices_.clear();
      {
         const auto slots = open( 4 );
         EXPECT_EQ( slots->slot( 1 ), pair( 10, 51 ) );
         EXPECT_EQ( slots->slot( 2 ), std::nullopt ) << "what was cut off has come back";
      }
      EXPECT_FALSE( exists( "slots.aside-1" ) );
   }
}

TEST_F( SlotFileTest, KilledWhileItIsMadeItIsMadeAgain ) {
   std::mt19937 random( 1 );
   for( int round = 0; round < 40; ++round ) {
      killInTheMiddle( std::chrono::microseconds( 500 + random() % 1000 ), [&] {
         std::filesystem::remove( path() );
         SlotFile slots( path(), 1000, []( const std::string & ) {} );
      } );
      EXPECT_EQ( contentsOf( *open( 1000 ) ), Contents{} );
      EXPECT_FALSE( exists( "slots.aside-1" ) );
   }
}

TEST_F( SlotFileTest, NoBytesDoHarm ) {
   {
      const auto slots = open( 20 );
      slots->slotIs( 1, pair( 10, 51 ) );
   }
   const std::string good = bytes();
   std::mt19937 random( 1 );
   for( int round = 0; round < 500; ++round ) {
      std::string all = good.substr( 0, random() % 4 == 0 ? random() % good.size() : good.size() );
      for( auto changes = random() % 4 + 1; changes > 0 && !all.empty(); --changes ) {
         all[random() % all.size()] = static_cast<char>( random() );
      }
      write( all );
      const std::string found = seen();
      EXPECT_EQ( bytes(), all );
      EXPECT_EQ( answer( 20, path() ), "" );
      EXPECT_EQ( found.starts_with( "cannot read" ), !notices_.empty() ) << round;
      notices_.clear();
   }
}

} // namespace
} // namespace OrloAgent
