// A socket to the real kernel, which answers a request while it is being sent.
#include "agent/netlink/NetlinkSocket.h"
#include "agent/netlink/NetlinkMessages.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

namespace OrloAgent {
namespace {

using Quor::U32;
using Received = NetlinkSocket::Received;

/// Asks for the loopback.
void ask( NetlinkSocket &socket, U32 sequence ) {
   alignas( nlmsghdr ) std::array<char, 64> bytes{};
   nlmsghdr *const header = mnl_nlmsg_put_header( bytes.data() );
   header->nlmsg_type = RTM_GETLINK;
   header->nlmsg_flags = NLM_F_REQUEST;
   header->nlmsg_seq = sequence;
   ifinfomsg link{};
   link.ifi_index = 1;
   std::memcpy( mnl_nlmsg_put_extra_header( header, sizeof( link ) ), &link, sizeof( link ) );
   ASSERT_EQ( socket.send( std::as_bytes( std::span( bytes ).first( header->nlmsg_len ) ) ), 0 );
}

U32 sequenceOf( const NetlinkSocket &socket ) {
   const auto message = NetlinkMessages( socket.datagram() ).next();
   return message ? message->header.nlmsg_seq : 0;
}

using Answers = std::vector<std::pair<U32, bool>>; // of a sequence number, and is there one ahead?

Answers answers( NetlinkSocket &socket ) {
   Answers answers;
   while( socket.receive() == Received::datagram ) {
      answers.emplace_back( sequenceOf( socket ), socket.isAhead() );
   }
   return answers;
}

TEST( NetlinkSocketTest, GivesOneDatagramAtATime ) {
   NetlinkSocket socket;
   for( const U32 sequence : { 1u, 2u, 3u } ) {
      ask( socket, sequence );
   }
   EXPECT_EQ( answers( socket ), ( Answers{ { 1, false }, { 2, false }, { 3, false } } ) );
   EXPECT_EQ( socket.receive(), Received::nothing );
   EXPECT_TRUE( socket.datagram().empty() );
}

TEST( NetlinkSocketTest, WhatIsReadAheadComesOneByOneAndInOrder ) {
   NetlinkSocket socket;
   socket.readAheadIs( 4 );
   for( const U32 sequence : { 1u, 2u, 3u, 4u, 5u, 6u } ) {
      ask( socket, sequence );
   }
   EXPECT_EQ(
         answers( socket ),
         ( Answers{
               { 1, true }, { 2, true }, { 3, true }, { 4, false }, { 5, true }, { 6, false } } ) );
   EXPECT_EQ( socket.receive(), Received::nothing );
}

TEST( NetlinkSocketTest, AnAnswerThatComesWhileOthersAreAheadIsBehindThem ) {
   NetlinkSocket socket;
   socket.readAheadIs( NetlinkSocket::kMostAhead );
   ask( socket, 1 );
   ask( socket, 2 );
   ASSERT_EQ( socket.receive(), Received::datagram );
   EXPECT_EQ( sequenceOf( socket ), 1u );
   ask( socket, 3 );
   EXPECT_EQ( answers( socket ), ( Answers{ { 2, false }, { 3, false } } ) );
}

} // namespace
} // namespace OrloAgent
