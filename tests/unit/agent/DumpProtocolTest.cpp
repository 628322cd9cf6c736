// A complete picture of the kernel, whatever is lost, interrupted or refused on the way.
#include "agent/input/DumpProtocol.h"
#include "tests/unit/agent/FakeKernel.h"
#include "tests/unit/agent/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace OrloAgent {
namespace {

constexpr Quor::U32 kPort = 4711;
constexpr Quor::U32 kOtherPort = 4712;

using Lines = std::vector<std::string>;

/// What the watcher hears, in short lines.
class Recorder : public KernelWatcher {
 public:
   /// What came since the last call.
   Lines heard() { return std::exchange( lines_, {} ); }

   void onLink( const Link &link ) override { lines_.push_back( "link " + link.name ); }
   void onLinkGone( IfIndex ifindex ) override {
      lines_.push_back( "link gone " + std::to_string( ifindex ) );
   }
   void onAddress( const Address &one ) override {
      lines_.push_back( "address " + std::to_string( one.ifindex ) + "." +
                        std::to_string( one.local[3] ) );
   }
   void onAddressGone( const Address &one ) override {
      lines_.push_back( "address gone " + std::to_string( one.ifindex ) + "." +
                        std::to_string( one.local[3] ) );
   }
   void onReadingAll() override { lines_.push_back( "reading" ); }
   void onReadAll() override { lines_.push_back( "read" ); }
   void onOverrun() override { lines_.push_back( "overrun" ); }
   void onQuiet() override { lines_.push_back( "quiet" ); }
   void onTrouble( const std::string &what ) override { lines_.push_back( "trouble: " + what ); }

 private:
   Lines lines_;
};

NetlinkMessage link( NetlinkMessage message, int ifindex, const std::string &name ) {
   return message.with( linkHeader( ifindex ) ).attribute( IFLA_IFNAME, name );
}

NetlinkMessage addressOf( NetlinkMessage message, unsigned int ifindex, int last ) {
   return message.with( addressHeader( ifindex, AF_INET, 24 ) )
         .attribute( IFA_LOCAL, { 192, 0, 2, last } );
}

class DumpProtocolTest : public testing::Test {
 protected:
   /// An event, caused by some other program (or by nobody).
   static NetlinkMessage event( Quor::U16 type, Quor::U32 port = kOtherPort ) {
      return NetlinkMessage( type, 0, 17, port );
   }
   /// A message of the reply to the request that was made last.
   NetlinkMessage reply( Quor::U16 type, Quor::U16 flags = 0 ) const {
      return NetlinkMessage( type, static_cast<Quor::U16>( NLM_F_MULTI | flags ), sequence_,
                             kPort );
   }
   NetlinkMessage done( Quor::U16 flags = 0, int error = 0 ) const {
      return reply( NLMSG_DONE, flags ).with( error );
   }
   void arrives( const NetlinkMessage &message ) { protocol_.datagram( message.bytes().span() ); }
   /// Drains; gives the type of the request that is made then, 0 for none.
   Quor::U16 drain() {
      const auto request = protocol_.drained();
      if( request ) {
         sequence_ = request->sequence;
      }
      return request ? request->type : Quor::U16{ 0 };
   }
   /// A reading in which link 1 "lo" is all there is.
   void readAll() {
      ASSERT_EQ( drain(), RTM_GETLINK );
      arrives( link( reply( RTM_NEWLINK ), 1, "lo" ) );
      arrives( done() );
      ASSERT_EQ( drain(), RTM_GETADDR );
      arrives( addressOf( reply( RTM_NEWADDR ), 1, 1 ) );
      arrives( done() );
      readNoMore();
   }
   /// There are no addresses of IPv6.
   void readNoMore() {
      ASSERT_EQ( drain(), RTM_GETADDR );
      arrives( done() );
      ASSERT_EQ( drain(), 0 );
   }

   Recorder watcher_;
   DumpProtocol protocol_{ kPort, 100, watcher_ };
   Quor::U32 sequence_ = 0;
};

TEST_F( DumpProtocolTest, ReadsLinksThenAddressesThenIsQuiet ) {
   readAll();
   EXPECT_EQ( watcher_.heard(), ( Lines{ "reading", "link lo", "address 1.1", "read", "quiet" } ) );
   EXPECT_EQ( protocol_.counters().readings, 1u );
}

TEST_F( DumpProtocolTest, EveryRequestHasANumberOfItsOwn ) {
   EXPECT_EQ( protocol_.drained(), ( DumpProtocol::Request{ RTM_GETLINK, 101 } ) );
   EXPECT_EQ( protocol_.drained(), std::nullopt ) << "asked again while the dump is under way";
   protocol_.overrun();
   EXPECT_EQ( protocol_.drained(), ( DumpProtocol::Request{ RTM_GETLINK, 102 } ) );
}

TEST_F( DumpProtocolTest, EventsArePassedOnAtAnyTime ) {
   arrives( link( event( RTM_NEWLINK ), 5, "early" ) );
   readAll();
   watcher_.heard();
   arrives( link( event( RTM_NEWLINK ), 6, "eth0" ) );
   arrives( addressOf( event( RTM_NEWADDR ), 6, 9 ) );
   arrives( addressOf( event( RTM_DELADDR ), 6, 9 ) );
   arrives( event( RTM_DELLINK ).with( linkHeader( 6 ) ) );
   EXPECT_EQ( drain(), 0 );
   EXPECT_EQ( watcher_.heard(),
              ( Lines{ "link eth0", "address 6.9", "address gone 6.9", "link gone 6", "quiet" } ) );
}

TEST_F( DumpProtocolTest, AnEventThatCarriesOurPortIsAnEventAllTheSame ) {
   readAll();
   watcher_.heard();
   arrives( link( event( RTM_NEWLINK, kPort ), 6, "eth0" ) );
   EXPECT_EQ( watcher_.heard(), Lines{ "link eth0" } );
}

TEST_F( DumpProtocolTest, AnInterruptedDumpIsReadAgainUntilItIsClean ) {
   for( const bool inTheMiddle : { true, false } ) {
      ASSERT_EQ( drain(), RTM_GETLINK );
      arrives( link( reply( RTM_NEWLINK, inTheMiddle ? NLM_F_DUMP_INTR : 0 ), 1, "lo" ) );
      arrives( done( inTheMiddle ? 0 : NLM_F_DUMP_INTR ) );
   }
   // The addresses as well; then the links are read again too.
   ASSERT_EQ( drain(), RTM_GETLINK );
   arrives( done() );
   ASSERT_EQ( drain(), RTM_GETADDR );
   arrives( addressOf( reply( RTM_NEWADDR, NLM_F_DUMP_INTR ), 1, 1 ) );
   arrives( done() );
   EXPECT_EQ( protocol_.counters().interruptedDumps, 3u );
   watcher_.heard();

   readAll();

   EXPECT_EQ( watcher_.heard(), ( Lines{ "reading", "link lo", "address 1.1", "read", "quiet" } ) );
   EXPECT_EQ( protocol_.counters().interruptedDumps, 3u );
   EXPECT_EQ( protocol_.counters().readings, 1u );
}

// In a dump of all families the kernel forgets between two of them that it was interrupted.
TEST_F( DumpProtocolTest, AddressesAreReadFamilyByFamily ) {
   ASSERT_EQ( drain(), RTM_GETLINK );
   arrives( done() );
   EXPECT_EQ( protocol_.drained(), ( DumpProtocol::Request{ RTM_GETADDR, 102, AF_INET } ) );
   sequence_ = 102;
   arrives( addressOf( reply( RTM_NEWADDR ), 1, 1 ) );
   arrives( done() );
   EXPECT_EQ( protocol_.drained(), ( DumpProtocol::Request{ RTM_GETADDR, 103, AF_INET6 } ) );
   EXPECT_EQ( protocol_.counters().readings, 0u );
   sequence_ = 103;
   arrives( done( NLM_F_DUMP_INTR ) );
   EXPECT_EQ( protocol_.counters().interruptedDumps, 1u );

   readAll();

   EXPECT_EQ( protocol_.counters().readings, 1u );
}

TEST_F( DumpProtocolTest, AnOverrunIsAnsweredByAFreshReadingOnceTheSocketIsDrained ) {
   readAll();
   watcher_.heard();

   protocol_.overrun();
   arrives( link( event( RTM_NEWLINK ), 6, "before the loss" ) );
   readAll();

   EXPECT_EQ( watcher_.heard(), ( Lines{ "overrun", "link before the loss", "reading", "link lo",
                                         "address 1.1", "read", "quiet" } ) );
   EXPECT_EQ( protocol_.counters().overruns, 1u );
}

TEST_F( DumpProtocolTest, AnOverrunInsideADumpMakesItVoid ) {
   ASSERT_EQ( drain(), RTM_GETLINK );
   const NetlinkMessage rest = link( reply( RTM_NEWLINK ), 1, "lo" );
   const NetlinkMessage end = done();
   protocol_.overrun();
   watcher_.heard();
   arrives( rest );
   arrives( end );
   EXPECT_EQ( watcher_.heard(), Lines{} );

   ASSERT_EQ( drain(), RTM_GETLINK );
   arrives( end ); // of the old one, still
   EXPECT_EQ( drain(), 0 ) << "the old dump's end was taken for the new one's";
   watcher_.heard();
   arrives( done() );
   EXPECT_EQ( drain(), RTM_GETADDR );
}

TEST_F( DumpProtocolTest, AMessageThatSpeaksOfALossIsAnOverrunToo ) {
   readAll();
   watcher_.heard();
   arrives( event( NLMSG_OVERRUN ) );
   EXPECT_EQ( drain(), RTM_GETLINK );
   EXPECT_EQ( watcher_.heard(), ( Lines{ "overrun", "reading" } ) );
}

TEST_F( DumpProtocolTest, WhatAnEventSaidIsNotOverwrittenByTheDumpThatItCameInto ) {
   ASSERT_EQ( drain(), RTM_GETLINK );
   arrives( link( event( RTM_NEWLINK ), 1, "new name" ) );
   arrives( link( reply( RTM_NEWLINK ), 1, "old name" ) );
   arrives( event( RTM_DELLINK ).with( linkHeader( 2 ) ) );
   arrives( link( reply( RTM_NEWLINK ), 2, "gone" ) );
   arrives( link( reply( RTM_NEWLINK ), 3, "another" ) );
   arrives( done() );
   ASSERT_EQ( drain(), RTM_GETADDR );
   arrives( addressOf( event( RTM_DELADDR ), 1, 1 ) );
   arrives( addressOf( reply( RTM_NEWADDR ), 1, 1 ) ); // gone
   arrives( addressOf( reply( RTM_NEWADDR ), 2, 1 ) ); // gone with its link
   arrives( addressOf( reply( RTM_NEWADDR ), 3, 1 ) );
   arrives( done() );
   readNoMore();
   EXPECT_EQ( watcher_.heard(), ( Lines{ "reading", "link new name", "link gone 2", "link another",
                                         "address gone 1.1", "address 3.1", "read", "quiet" } ) );
}

TEST_F( DumpProtocolTest, WhatWasSaidInAnEarlierReadingCountsNoMore ) {
   ASSERT_EQ( drain(), RTM_GETLINK );
   arrives( event( RTM_DELLINK ).with( linkHeader( 1 ) ) );
   arrives( addressOf( event( RTM_DELADDR ), 1, 1 ) );
   arrives( done( NLM_F_DUMP_INTR ) );
   watcher_.heard();
   readAll();
   EXPECT_EQ( watcher_.heard(), ( Lines{ "reading", "link lo", "address 1.1", "read", "quiet" } ) );
}

TEST_F( DumpProtocolTest, ARefusedDumpWaitsForItsRetry ) {
   ASSERT_EQ( drain(), RTM_GETLINK );
   arrives( NetlinkMessage( NLMSG_ERROR, 0, sequence_, kPort ).with( -EBUSY ) );
   EXPECT_TRUE( protocol_.waitsForRetry() );
   EXPECT_EQ( drain(), 0 );
   protocol_.overrun();
   EXPECT_EQ( drain(), 0 ) << "a loss does not shorten the wait";

   protocol_.retry();
   EXPECT_FALSE( protocol_.waitsForRetry() );
   watcher_.heard();
   readAll();
   EXPECT_EQ( watcher_.heard(), ( Lines{ "reading", "link lo", "address 1.1", "read", "quiet" } ) );
   EXPECT_EQ( protocol_.counters().refusals, 1u );
}

TEST_F( DumpProtocolTest, TheSameRefusalIsToldOnce ) {
   for( int i = 0; i < 3; ++i ) {
      ASSERT_EQ( drain(), RTM_GETLINK );
      arrives( done( 0, -ENOMEM ) );
      protocol_.retry();
   }
   EXPECT_EQ( watcher_.heard(),
              ( Lines{ "reading",
                       "trouble: the kernel would not list its links and addresses (Cannot "
                       "allocate memory); trying again",
                       "reading", "reading" } ) );
   EXPECT_EQ( protocol_.counters().refusals, 3u );
}

TEST_F( DumpProtocolTest, ARequestThatCouldNotBeSentIsRefusedToo ) {
   ASSERT_EQ( drain(), RTM_GETLINK );
   protocol_.refused( ENOBUFS );
   EXPECT_TRUE( protocol_.waitsForRetry() );
}

TEST_F( DumpProtocolTest, AnAcknowledgementEndsNothing ) {
   ASSERT_EQ( drain(), RTM_GETLINK );
   arrives( NetlinkMessage( NLMSG_ERROR, 0, sequence_, kPort ).with( 0 ) );
   EXPECT_EQ( drain(), 0 );
   arrives( done() );
   EXPECT_EQ( drain(), RTM_GETADDR );
}

TEST_F( DumpProtocolTest, MalformedMessagesAreCountedAndToldOnce ) {
   readAll();
   watcher_.heard();
   for( int i = 0; i < 3; ++i ) {
      arrives( event( RTM_NEWLINK ).with( linkHeader( 7 ) ) );
   }
   EXPECT_EQ( watcher_.heard(), Lines{ "trouble: the kernel sent a link message without a name, "
                                       "which is ignored; later ones are only counted" } );
   EXPECT_EQ( protocol_.counters().malformed, 3u );
}

} // namespace
} // namespace OrloAgent
