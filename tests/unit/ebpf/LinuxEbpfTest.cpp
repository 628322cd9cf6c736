// The ebpf hardware on the kernel that the tests run on: what is pinned outlives its process, and
// is found again. In a mount and a network namespace of the tests' own; without the privilege to
// make them these tests are skipped.
#include "agent/hardware/ebpf/LinuxEbpf.h"
#include "agent/hardware/HardwareError.h"
#include "agent/hardware/ebpf/ReadOnlyEbpf.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/ebpf/HelperOnFakeSwitch.h"

#include <bpf/bpf.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

using Quor::U32;
using Entries = std::vector<EbpfKernel::Entry>;
using Filter = EbpfKernel::Filter;
using Lines = std::vector<std::string>;

constexpr U32 kPort = 1; // the one device of a new network namespace

class LinuxEbpfTest : public testing::Test {
 protected:
   void SetUp() override {
      if( geteuid() != 0 ) {
         GTEST_SKIP() << "makes namespaces and loads programs: run it as root";
      }
      // The mount goes with the process, whatever ends it.
      ASSERT_EQ( unshare( CLONE_NEWNS | CLONE_NEWNET ), 0 ) << strerror( errno );
      ASSERT_EQ( mount( "none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr ), 0 );
      std::filesystem::create_directory( folder_.path( "bpf" ) );
      ASSERT_EQ( mount( "bpf", folder_.path( "bpf" ).c_str(), "bpf", 0, nullptr ), 0 );
   }
   void TearDown() override { umount2( folder_.path( "bpf" ).c_str(), MNT_DETACH ); }

   std::string pins() const { return folder_.path( "bpf/orlo" ); }
   std::unique_ptr<LinuxEbpf> open( U32 indexes ) {
      return std::make_unique<LinuxEbpf>(
            pins(), indexes, [this]( const std::string &what ) { notices_.push_back( what ); } );
   }
   std::string answer( const std::string &pins ) {
      try {
         const LinuxEbpf ebpf( pins, 4, []( const std::string & ) {} );
         return {};
      } catch( const HardwareError &error ) {
         return error.what();
      }
   }
   static Entries sorted( Entries entries ) {
      std::sort( entries.begin(), entries.end(),
                 []( const auto &a, const auto &b ) { return a.index < b.index; } );
      return entries;
   }
   /// The number that the kernel gave to what is pinned.
   U32 idOf( const std::string &name ) const {
      const FileDescriptor fd( bpf_obj_get( ( pins() + "/" + name ).c_str() ) );
      bpf_map_info map{};
      bpf_prog_info program{};
      U32 size = name == "program" ? sizeof( program ) : sizeof( map );
      void *const info = name == "program" ? static_cast<void *>( &program ) : &map;
      EXPECT_EQ( bpf_obj_get_info_by_fd( fd.get(), info, &size ), 0 ) << name;
      return name == "program" ? program.id : map.id;
   }
   std::vector<U32> ids() const {
      return { idOf( "router_macs" ), idOf( "frame_counts" ), idOf( "ports" ), idOf( "program" ) };
   }
   Lines pinned() const {
      Lines names;
      for( const auto &file : std::filesystem::directory_iterator( pins() ) ) {
         names.push_back( file.path().filename() );
      }
      std::sort( names.begin(), names.end() );
      return names;
   }

   TemporaryFolder folder_;
   Lines notices_;
};

const Entries kFour{ { pair( 10, 51 ), 0, 7 },
                     { pair( 11, 51 ), 1, 7 },
                     { pair( 4094, 255 ), 2, 9 },
                     { pair( 1, 1 ), 3, 9 } };

TEST_F( LinuxEbpfTest, RowsComeBackAsTheyWerePut ) {
   const auto ebpf = open( 8 );
   EXPECT_EQ( ebpf->entries(), Entries{} );

   EXPECT_EQ( ebpf->put( kFour ).count, 4u );

   EXPECT_EQ( sorted( ebpf->entries() ), kFour );
   EXPECT_EQ( ebpf->entry( pair( 4094, 255 ) ), kFour[2] );
   EXPECT_EQ( ebpf->entry( pair( 4094, 254 ) ), std::nullopt );
   EXPECT_EQ( pinned(), ( Lines{ "frame_counts", "ports", "program", "router_macs" } ) );
}

TEST_F( LinuxEbpfTest, ARowIsPutOverTheOneOfTheSamePair ) {
   const auto ebpf = open( 4 );
   ebpf->put( kFour );
   const Entries moved{ { pair( 11, 51 ), 1, 8 } };

   EXPECT_EQ( ebpf->put( moved ).error, 0 ) << "also when the table is full";

   EXPECT_EQ( ebpf->entry( pair( 11, 51 ) ), moved[0] );
   EXPECT_EQ( ebpf->entries().size(), 4u );
}

TEST_F( LinuxEbpfTest, AFullTableSaysHowFarItCame ) {
   const auto ebpf = open( 3 );

   const EbpfKernel::Done done = ebpf->put( kFour );

   EXPECT_EQ( done.count, 3u );
   EXPECT_EQ( done.error, E2BIG );
   EXPECT_EQ( sorted( ebpf->entries() ), Entries( kFour.begin(), kFour.begin() + 3 ) );
}

TEST_F( LinuxEbpfTest, ErasingStopsAtAPairWithoutARow ) {
   const auto ebpf = open( 4 );
   ebpf->put( kFour );
   const std::vector<Pair> pairs{ pair( 10, 51 ), pair( 77, 51 ), pair( 11, 51 ) };

   const EbpfKernel::Done first = ebpf->erase( pairs );
   const EbpfKernel::Done rest = ebpf->erase( std::span( pairs ).subspan( 2 ) );

   EXPECT_EQ( first.count, 1u );
   EXPECT_EQ( first.error, ENOENT );
   EXPECT_EQ( rest.count, 1u );
   EXPECT_EQ( rest.error, 0 );
   EXPECT_EQ( sorted( ebpf->entries() ), Entries( kFour.begin() + 2, kFour.end() ) );
}

TEST_F( LinuxEbpfTest, ManyRowsAreReadInParts ) {
   const auto ebpf = open( 5000 );
   Entries many;
   for( U32 index = 0; index < 5000; ++index ) {
      many.push_back( { pair( static_cast<Quor::U16>( 1 + index % 4000 ),
                              static_cast<Quor::U8>( index / 4000 ) ),
                        index, 7 } );
   }
   ASSERT_EQ( ebpf->put( many ).count, 5000u );

   EXPECT_EQ( sorted( ebpf->entries() ), many );
}

TEST_F( LinuxEbpfTest, TheNextOneFindsTheSameTablesAndTheSameProgram ) {
   auto ebpf = open( 8 );
   ebpf->put( kFour );
   ebpf->portIs( kPort, 10 );
   ASSERT_EQ( ebpf->attach( kPort ), 0 );
   const std::vector<U32> before = ids();

   for( int times = 0; times < 3; ++times ) {
      ebpf = nullptr;
      ebpf = open( 8 );

      EXPECT_EQ( ids(), before );
      EXPECT_EQ( sorted( ebpf->entries() ), kFour );
      EXPECT_EQ( ebpf->ports(), ( std::map<U32, U32>{ { kPort, 10 } } ) );
      EXPECT_EQ( ebpf->filter( kPort ), Filter::current );
   }
   EXPECT_EQ( notices_, Lines{} );
}

TEST_F( LinuxEbpfTest, AnotherNumberOfIndexesKeepsWhatIsBelowIt ) {
   open( 8 )->put( kFour );
   for( const U32 indexes : { 4u, 100u, 2u, 3u, 0u } ) {
      const auto ebpf = open( indexes );
      const U32 left = std::min( indexes, indexes == 3 ? 2u : 4u );
      EXPECT_EQ( sorted( ebpf->entries() ), Entries( kFour.begin(), kFour.begin() + left ) )
            << indexes;
   }
   EXPECT_EQ( notices_, Lines{} );
}

TEST_F( LinuxEbpfTest, TheFilterOfAnotherNumberOfIndexesIsOutdatedUntilItIsReplaced ) {
   auto ebpf = open( 8 );
   ebpf->portIs( kPort, 10 );
   EXPECT_EQ( ebpf->filter( kPort ), Filter::none );
   ASSERT_EQ( ebpf->attach( kPort ), 0 );
   EXPECT_EQ( ebpf->filter( kPort ), Filter::current );
   ebpf = nullptr;
   ebpf = open( 9 );

   EXPECT_EQ( ebpf->filter( kPort ), Filter::outdated );
   EXPECT_EQ( ebpf->ports(), ( std::map<U32, U32>{ { kPort, 10 } } ) );
   ASSERT_EQ( ebpf->attach( kPort ), 0 );
   EXPECT_EQ( ebpf->filter( kPort ), Filter::current );
   EXPECT_EQ( ebpf->detach( kPort ), 0 );
   EXPECT_EQ( ebpf->filter( kPort ), Filter::none );
   EXPECT_EQ( ebpf->detach( kPort ), 0 ) << "again";
}

TEST_F( LinuxEbpfTest, APortThatIsNotThere ) {
   const auto ebpf = open( 1 );
   EXPECT_EQ( ebpf->ifindex( "swp77" ), 0u );
   EXPECT_EQ( ebpf->filter( 4711 ), Filter::none );
   EXPECT_NE( ebpf->attach( 4711 ), 0 );
   EXPECT_EQ( ebpf->portDel( 4711 ), ENOENT );
}

TEST_F( LinuxEbpfTest, HearsOfFilters ) {
   const auto ebpf = open( 1 );
   const auto ours = []( const EbpfKernel::News &news ) {
      return std::count( news.filtered.begin(), news.filtered.end(), kPort );
   };
   EXPECT_EQ( ours( ebpf->hear() ), 0 );
   ASSERT_EQ( ebpf->attach( kPort ), 0 );
   EXPECT_GT( ours( ebpf->hear() ), 0 );
   EXPECT_EQ( ours( ebpf->hear() ), 0 );
   ASSERT_EQ( ebpf->detach( kPort ), 0 );
   EXPECT_GT( ours( ebpf->hear() ), 0 );
}

TEST_F( LinuxEbpfTest, SomethingElseAtAPinIsReplaced ) {
   open( 4 )->put( kFour );
   const FileDescriptor other( bpf_map_create( BPF_MAP_TYPE_ARRAY, "other", 4, 4, 1, nullptr ) );
   for( const char *name : { "router_macs", "program" } ) {
      const std::string path = pins() + "/" + name;
      ASSERT_EQ( unlink( path.c_str() ), 0 );
      ASSERT_EQ( bpf_obj_pin( other.get(), path.c_str() ), 0 );
   }

   const auto ebpf = open( 4 );

   EXPECT_EQ( ebpf->entries(), Entries{} );
   EXPECT_EQ( ebpf->put( kFour ).count, 4u );
   EXPECT_EQ( notices_, Lines{ pins() + "/router_macs cannot be used: it is no such table as the "
                                        "program needs; an empty one takes its place" } );
}

TEST_F( LinuxEbpfTest, WhatAKilledOneHasLeftHalfDoneIsNoObstacle ) {
   open( 4 )->put( kFour );
   for( const char *name : { "new_router_macs", "new_program" } ) {
      const FileDescriptor map( bpf_map_create( BPF_MAP_TYPE_ARRAY, "half", 4, 4, 1, nullptr ) );
      ASSERT_EQ( bpf_obj_pin( map.get(), ( pins() + "/" + name ).c_str() ), 0 );
   }

   const auto ebpf = open( 5 );

   EXPECT_EQ( sorted( ebpf->entries() ), kFour );
   EXPECT_EQ( pinned(), ( Lines{ "frame_counts", "ports", "program", "router_macs" } ) );
}

TEST_F( LinuxEbpfTest, BelongsToOneAgentAtATime ) {
   auto ebpf = open( 4 );
   EXPECT_EQ(
         answer( pins() ),
         "cannot lock " + pins() +
               ": Resource temporarily unavailable; another orlo-agent uses it: stop that one, "
               "or choose another path in \"pins\"" );
   ebpf = nullptr;
   EXPECT_EQ( answer( pins() ), "" );
}

TEST_F( LinuxEbpfTest, NeedsABpfFileSystem ) {
   EXPECT_EQ( answer( folder_.path( "none/of/it" ) ),
              folder_.path( "" ).substr( 0, folder_.path( "" ).size() - 1 ) +
                    " is not in a BPF file system, and nothing can be pinned at " +
                    folder_.path( "none/of/it" ) + ": mount one (mount -t bpf bpf " +
                    folder_.path( "" ).substr( 0, folder_.path( "" ).size() - 1 ) +
                    "), or choose another path in \"pins\"" );
   EXPECT_FALSE( std::filesystem::exists( folder_.path( "none" ) ) );
   EXPECT_EQ( answer( folder_.path( "bpf/a/b" ) ), "" ) << "folders in it are made";
}

TEST_F( LinuxEbpfTest, CanBeLookedAtWhileAnAgentHasIt ) {
   const ReadOnlyEbpf view( pins() );
   EXPECT_EQ( view.entries(), Entries{} ) << "nothing is pinned yet";
   EXPECT_FALSE( std::filesystem::exists( pins() ) );
   const auto ebpf = open( 4 );
   ebpf->put( kFour );

   EXPECT_EQ( sorted( view.entries() ), kFour );
}

} // namespace
} // namespace OrloAgent
