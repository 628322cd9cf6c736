// Places for nodes: which are handed out, and when their memory goes.
#include "quor/Slab.h"
#include "tests/unit/quor/AllocationCount.h"
#include "tests/unit/quor/Dice.h"
#include "tests/unit/quor/ThreadSafePointers.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace Quor {
namespace {

struct Node {
   U64 number;
   U32 more;
};
using Places = Slab<Node>;
using Links = std::vector<Places::Link>;

Links take( const Places::Owned &slab, U32 count ) {
   Links links;
   links.reserve( count );
   for( U32 i = 0; i < count; ++i ) {
      links.push_back( slab->take().link );
   }
   return links;
}

void give( const Places::Owned &slab, const Links &links ) {
   for( const Places::Link link : links ) {
      slab->give( slab->at( link ), link );
   }
}

TEST( Slab, EveryLinkLeadsToAPlaceOfItsOwn ) {
   const Places::Owned slab = Places::make();
   const Links links = take( slab, 20'000 );
   for( U32 i = 0; i < links.size(); ++i ) {
      ASSERT_NE( links[i], 0u );
      ASSERT_EQ( reinterpret_cast<std::uintptr_t>( slab->at( links[i] ) ) % alignof( Node ), 0u );
      ::new( slab->at( links[i] ) ) Node{ i, ~i };
   }
   for( U32 i = 0; i < links.size(); ++i ) {
      ASSERT_EQ( slab->at( links[i] )->number, i );
      ASSERT_EQ( slab->at( links[i] )->more, ~i );
   }
   EXPECT_EQ( std::set( links.begin(), links.end() ).size(), links.size() );
   give( slab, links );
}

TEST( Slab, IsKnownFromEachOfItsNodes ) {
   const Places::Owned one = Places::make();
   const Places::Owned other = Places::make();
   for( const Places::Owned *slab : { &one, &other } ) {
      const Links links = take( *slab, 10'000 );
      for( const Places::Link link : links ) {
         const Node *const node = ::new( ( *slab )->at( link ) ) Node{};
         ASSERT_EQ( &Places::of( *node, link ), slab->get() );
      }
      give( *slab, links );
   }
}

TEST( Slab, HandsOutFirstWhatWasGivenBackLast ) {
   const Places::Owned slab = Places::make();
   const Links links = take( slab, 100 );
   give( slab, links );
   EXPECT_EQ( take( slab, 100 ), Links( links.rbegin(), links.rend() ) );
   give( slab, links );
}

TEST( Slab, AChunkHasMorePlacesThanAllBeforeItUpTo4095 ) {
   const Places::Owned slab = Places::make();
   Links links;
   links.reserve( 20'000 );
   std::vector<U32> chunks;
   while( links.size() < 20'000 ) {
      const std::size_t before = allocations();
      links.push_back( slab->take().link );
      if( allocations() != before ) {
         chunks.push_back( 0 );
      }
      ++chunks.back();
   }
   chunks.pop_back(); // the last one is not used up
   EXPECT_EQ( chunks,
              ( std::vector<U32>{ 7, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 4095, 4095 } ) );
   give( slab, links );
}

TEST( Slab, AsksForNothingAsLongAsPlacesComeBack ) {
   const Places::Owned slab = Places::make();
   Links links = take( slab, 5000 );
   Dice dice( 9 );
   const std::size_t before = allocations();
   for( int i = 0; i < 10'000; ++i ) {
      Places::Link &link = links[dice.roll( 5000 )];
      slab->give( slab->at( link ), link );
      link = slab->take().link;
   }
   EXPECT_EQ( allocations(), before );
   EXPECT_EQ( std::set( links.begin(), links.end() ).size(), links.size() );
   give( slab, links );
}

TEST( Slab, GoesWithItsOwnerWhenNoPlaceIsInUse ) {
   const std::size_t before = allocatedBytes();
   {
      const Places::Owned slab = Places::make();
      const Places::Link link = slab->take().link;
      slab->give( slab->at( link ), link );
      EXPECT_GT( allocatedBytes(), before );
   }
   EXPECT_EQ( allocatedBytes(), before );
}

TEST( Slab, OutlivesItsOwnerUntilTheLastPlaceIsGivenBack ) {
   const std::size_t before = allocatedBytes();
   Places::Owned owned = Places::make();
   Places &slab = *owned;
   Places::Link late = 0;
   {
      const Links early = take( owned, 100 );
      late = slab.take().link; // in another chunk than the first ones
      give( owned, early );
   }
   Node *const node = ::new( slab.at( late ) ) Node{ 42, 43 };
   const Places::Link other = slab.take().link;
   owned = nullptr;
   EXPECT_EQ( node->number, 42u );
   slab.give( slab.at( other ), other );
   EXPECT_GT( allocatedBytes(), before );
   EXPECT_EQ( node->more, 43u );
   Places::of( *node, late ).give( node, late );
   EXPECT_EQ( allocatedBytes(), before );
}

TEST( Slab, WhatAnotherThreadGaveBackIsHandedOutBeforeMemoryIsAskedFor ) {
   const ThreadSafePointers on;
   const Places::Owned slab = Places::make();
   Links links = take( slab, 7 ); // all of the first chunk
   std::thread( [&] {
      for( const Places::Link link : { links[2], links[5] } ) {
         slab->give( slab->at( link ), link );
      }
   } ).join();
   const std::size_t before = allocations();
   slab->prepare();
   EXPECT_EQ( slab->take().link, links[5] );
   EXPECT_EQ( slab->take().link, links[2] );
   EXPECT_EQ( allocations(), before );
   give( slab, links );
}

TEST( Slab, PlacesAreGivenBackByAnotherThread ) {
   const std::size_t before = allocatedBytes();
   {
      const ThreadSafePointers on;
      Places::Owned owned = Places::make();
      Places &slab = *owned;
      std::vector<std::pair<Node *, Places::Link>> there;
      for( const Places::Link link : take( owned, 20'000 ) ) {
         there.emplace_back( slab.at( link ), link );
      }
      std::thread other( [&] {
         for( const auto &[node, link] : there ) {
            slab.give( node, link );
         }
      } );
      std::set<Places::Link> here;
      for( int taken = 0; taken < 20'000; ++taken ) {
         slab.prepare();
         const Places::Link link = slab.take().link;
         EXPECT_TRUE( here.insert( link ).second ) << link << " was handed out twice";
      }
      for( const Places::Link link : here ) {
         slab.give( slab.at( link ), link );
      }
      owned = nullptr; // the other one may be the last
      other.join();
   }
   EXPECT_EQ( allocatedBytes(), before );
}

} // namespace
} // namespace Quor
