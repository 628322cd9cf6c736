// The control socket's file: its permissions, and what may stand in its place.
#include "agent/control/ControlSocket.h"
#include "agent/control/Credentials.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/agent/TestSocket.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <vector>

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

struct stat statusOf( const std::string &path ) {
   struct stat status {};
   EXPECT_EQ( lstat( path.c_str(), &status ), 0 ) << path;
   return status;
}

std::string reasonAgainst( const std::string &path, const std::string &group = "" ) {
   try {
      const ControlSocket socket( path, group );
      ADD_FAILURE() << path << " is accepted";
   } catch( const ControlSocketError &error ) {
      return error.what();
   }
   return {};
}

/// A socket that nobody listens on: what a killed agent leaves.
void leaveStaleSocket( const std::string &path, int type = SOCK_STREAM ) {
   const FileDescriptor socket( ::socket( AF_UNIX, type, 0 ) );
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   path.copy( address.sun_path, sizeof( address.sun_path ) - 1 );
   ASSERT_EQ(
         bind( socket.get(), reinterpret_cast<const sockaddr *>( &address ), sizeof( address ) ),
         0 );
}

class ControlSocketTest : public testing::Test {
 protected:
   TemporaryFolder folder_;
   std::string path_ = folder_.path( "control" );
};

TEST_F( ControlSocketTest, OwnerAndGroupMayConnectWhateverTheUmaskIs ) {
   for( const mode_t mask : { 0000u, 0022u, 0777u } ) {
      const mode_t before = umask( mask );
      const ControlSocket socket( path_, "" );
      umask( before );
      const struct stat status = statusOf( path_ );
      EXPECT_TRUE( S_ISSOCK( status.st_mode ) );
      EXPECT_EQ( status.st_mode & 0777u, 0660u );
      EXPECT_EQ( status.st_uid, geteuid() );
   }
}

TEST_F( ControlSocketTest, TheConfiguredGroupIsTheFilesByNumberAndByName ) {
   std::vector<gid_t> groups( 100 );
   const int count = getgroups( 100, groups.data() );
   const gid_t group = geteuid() == 0 ? 1 : count > 0 ? groups[0] : getegid();
   {
      const ControlSocket socket( path_, std::to_string( group ) );
      EXPECT_EQ( statusOf( path_ ).st_gid, group );
      EXPECT_EQ( socket.group(), group );
   }
   EXPECT_EQ( ControlSocket( path_, "" ).group(), std::nullopt );
   EXPECT_EQ( reasonAgainst( path_, "no-such-group" ),
              "there is no group \"no-such-group\" for the control socket: make it, or name "
              "another one" );
   EXPECT_NE( access( path_.c_str(), F_OK ), 0 );
   if( geteuid() == 0 ) {
      const ControlSocket socket( path_, "root" );
      EXPECT_EQ( socket.group(), gid_t{ 0 } );
   }
}

TEST_F( ControlSocketTest, TheFolderIsMadeWhenItIsMissing ) {
   const std::string path = folder_.path( "orlo" ) + "/control";
   const mode_t before = umask( 0077 );
   const ControlSocket socket( path, "" );
   umask( before );
   EXPECT_EQ( statusOf( folder_.path( "orlo" ) ).st_mode & 0777u, 0755u );
   EXPECT_EQ( reasonAgainst( folder_.path( "a/b/control" ) ),
              "cannot make the folder of the control socket " + folder_.path( "a/b/control" ) +
                    ": No such file or directory" );
}

TEST_F( ControlSocketTest, TheSocketOfADeadAgentIsReplaced ) {
   leaveStaleSocket( path_ );
   const ControlSocket socket( path_, "" );
   TestSocket client( AF_UNIX );
   client.connect( path_ );
   EXPECT_EQ( statusOf( path_ ).st_mode & 0777u, 0660u );
}

TEST_F( ControlSocketTest, ASocketOnWhichSomebodyAnswersIsLeftAlone ) {
   const ControlSocket first( path_, "" );
   EXPECT_EQ( reasonAgainst( path_ ), "somebody answers on the control socket " + path_ +
                                            ": stop the other orlo-agent, or choose another path" );
   TestSocket client( AF_UNIX );
   client.connect( path_ );
   EXPECT_TRUE( S_ISSOCK( statusOf( path_ ).st_mode ) );
}

TEST_F( ControlSocketTest, WhatIsNoSocketIsLeftAlone ) {
   std::ofstream( path_ ) << "precious";
   EXPECT_EQ( reasonAgainst( path_ ),
              path_ + " is not a socket; choose another path for the control socket" );
   EXPECT_EQ( statusOf( path_ ).st_size, 8 );
   EXPECT_EQ( reasonAgainst( folder_.path( "" ) ),
              folder_.path( "" ) + " is not a socket; choose another path for the control socket" );
   const std::string link = folder_.path( "link" );
   ASSERT_EQ( symlink( path_.c_str(), link.c_str() ), 0 );
   EXPECT_NE( reasonAgainst( link ), "" );
}

TEST_F( ControlSocketTest, APathThatIsNoneForASocketIsAnError ) {
   EXPECT_NE( reasonAgainst( "" ), "" );
   EXPECT_NE( reasonAgainst( folder_.path( std::string( 200, 'x' ) ) ), "" );
   EXPECT_NE( reasonAgainst( std::string( "/tmp/\0x", 7 ) ), "" );
}

TEST_F( ControlSocketTest, ItGoesAtTheEndAndNobodyElsesDoes ) {
   std::optional<ControlSocket> socket( std::in_place, path_, "" );
   socket.reset();
   EXPECT_NE( access( path_.c_str(), F_OK ), 0 );

   socket.emplace( path_, "" );
   const std::string aside = folder_.path( "aside" ); // so that its number is not used again
   ASSERT_EQ( rename( path_.c_str(), aside.c_str() ), 0 );
   leaveStaleSocket( path_ );
   socket.reset();
   EXPECT_EQ( access( path_.c_str(), F_OK ), 0 );
}

TEST_F( ControlSocketTest, ItTellsWhetherItsFileIsStillThere ) {
   const ControlSocket socket( path_, "" );
   EXPECT_TRUE( socket.isThere() );
   ASSERT_EQ( unlink( path_.c_str() ), 0 );
   EXPECT_FALSE( socket.isThere() );
   leaveStaleSocket( path_ );
   EXPECT_FALSE( socket.isThere() ) << "that is somebody else's";
}

TEST_F( ControlSocketTest, WithoutThePrivilegeTheWishedGroupIsDoneWithout ) {
   if( geteuid() != 0 ) {
      GTEST_SKIP() << "only root can become somebody who may not give files away";
   }
   ASSERT_EQ( chmod( folder_.path( "" ).c_str(), 0777 ), 0 );
   const auto asNobody = [this] {
      if( setgroups( 0, nullptr ) != 0 || setgid( 65534 ) != 0 || setuid( 65534 ) != 0 ) {
         std::_Exit( 2 );
      }
      std::fputs( reasonAgainst( path_, "1" ).c_str(), stderr );
      const ControlSocket socket( path_, "1", ControlSocket::Group::wished );
      std::_Exit( socket.isThere() && !socket.isGroupsOwn() ? 0 : 1 );
   };
   EXPECT_EXIT( asNobody(), testing::ExitedWithCode( 0 ), "cannot set the group of" );
}

TEST( Credentials, AreThoseOfTheProcessAtTheOtherEnd ) {
   std::array<int, 2> pair{};
   ASSERT_EQ( socketpair( AF_UNIX, SOCK_STREAM, 0, pair.data() ), 0 );
   const FileDescriptor one( pair[0] );
   const FileDescriptor other( pair[1] );
   const Credentials found = Credentials::ofPeer( one.get() );
   EXPECT_EQ( found.uid, geteuid() );
   EXPECT_EQ( found.gid, getegid() );
   EXPECT_EQ( found.pid, getpid() );
   std::vector<gid_t> groups( 1000 );
   groups.resize( static_cast<std::size_t>( getgroups( 1000, groups.data() ) ) );
   EXPECT_EQ( found.groups, groups );
   EXPECT_THROW( Credentials::ofPeer( -1 ), std::system_error );
}

TEST( Credentials, RootTheAgentsUserAndTheGroupsMembersMayChange ) {
   constexpr uid_t kAgent = 100;
   constexpr gid_t kGroup = 50;
   const auto mayChange = []( uid_t uid, gid_t gid, std::vector<gid_t> groups,
                              std::optional<gid_t> group ) {
      return Credentials{ uid, gid, 1, std::move( groups ) }.mayChange( kAgent, group );
   };
   EXPECT_TRUE( mayChange( 0, 9, {}, {} ) );
   EXPECT_TRUE( mayChange( kAgent, 9, {}, {} ) );
   EXPECT_TRUE( mayChange( 7, kGroup, {}, kGroup ) );
   EXPECT_TRUE( mayChange( 7, 9, { 1, kGroup, 2 }, kGroup ) );
   EXPECT_FALSE( mayChange( 7, 9, { 1, 2 }, kGroup ) );
   EXPECT_FALSE( mayChange( 7, 0, { 0 }, {} ) );
   EXPECT_FALSE( mayChange( 7, 9, {}, kGroup ) );
}

} // namespace
} // namespace OrloAgent
