// Collections that are refused memory: for a node, a bucket, a page, or the copy of a value.
#include "quor/HashMap.h"
#include "quor/LinkQueue.h"
#include "tests/faults/EveryRefusal.h"

#include <map>

namespace Faults {
namespace {

using Quor::Ptr;
using Quor::String;
using Quor::U32;

struct Key {
   U32 number = 0;
   bool operator==( const Key & ) const = default;
   bool operator<( const Key &other ) const { return number < other.number; }
};
U32 naturalHash( const Key &key ) {
   return key.number;
}
String valueToStrep( const Key &key ) {
   return std::to_string( key.number );
}

/// So long that a copy of it asks for memory.
String text( U32 number ) {
   return "the value that is kept under the number " + std::to_string( number );
}

class Shelf : public Quor::PtrInterface {
 public:
   Quor::HashMap<Key, String> map{ this };
};

/// A map with some values, and what must be in it at the end of the work.
struct Filled {
   Ptr<Shelf> shelf = Quor::make<Shelf>();
   std::map<U32, String> before;
   std::map<U32, String> wanted;

   Filled() {
      for( U32 number = 0; number < 3; ++number ) {
         shelf->map.set( { number }, text( number ) );
         before[number] = text( number );
      }
      wanted = before;
   }
   /// Every key has the value from before or the new one, and the map counts and walks what it has.
   void isSound() const {
      U32 walked = 0;
      for( const auto &entry : shelf->map ) {
         const U32 number = entry.key().number;
         ++walked;
         EXPECT_TRUE( ( before.count( number ) != 0 && entry.value() == before.at( number ) ) ||
                      entry.value() == wanted.at( number ) )
               << number << ": " << entry.value();
      }
      EXPECT_EQ( walked, shelf->map.size() );
      EXPECT_GE( walked, before.size() );
   }
   void becomes( U32 number ) { wanted[number] = text( 1000 + number ); }
   void work() {
      for( const auto &[number, value] : wanted ) {
         shelf->map.set( { number }, value );
      }
   }
   void isDone() const {
      std::map<U32, String> all;
      for( const auto &entry : shelf->map ) {
         all[entry.key().number] = entry.value();
      }
      EXPECT_EQ( all, wanted );
   }
};

/// Refused anywhere the map is sound, and the same again gets to the end.
template <class World>
std::size_t goesOn() {
   return refuseEach<World>( []( World &world ) { world.work(); },
                             []( World &world, bool ) {
                                world.isSound();
                                world.work();
                                world.isDone();
                             } );
}

TEST( CollectionRefusal, OfAMapThatGrows ) {
   struct Growing : Filled {
      Growing() {
         for( U32 number = 3; number < 70; ++number ) {
            becomes( number );
         }
      }
   };
   EXPECT_GT( goesOn<Growing>(), 70u ) << "copies, chunks of nodes, and buckets";
}

TEST( CollectionRefusal, OfANewValueKeepsTheFormerOne ) {
   struct Overwriting : Filled {
      Overwriting() {
         becomes( 0 );
         becomes( 1 );
      }
   };
   EXPECT_GE( goesOn<Overwriting>(), 2u );
}

TEST( CollectionRefusal, OfTheMapOfANewObject ) {
   EXPECT_GE( ( refuseEach<Filled>( []( Filled & ) { Quor::make<Shelf>(); },
                                    []( Filled &world, bool ) { world.isSound(); } ) ),
              2u );
}

TEST( CollectionRefusal, WhatWasPreparedIsNotRefused ) {
   const Ptr<Shelf> shelf = Quor::make<Shelf>();
   for( U32 number = 0; number < 100; ++number ) {
      shelf->map.prepare();
      const std::size_t before = Quor::allocations();
      const Ptr<Shelf> same = shelf;
      same->map.insert( { number }, String() );
      ASSERT_EQ( Quor::allocations(), before ) << number;
   }
}

TEST( CollectionRefusal, OfNodesLeavesNoHoleBetweenThem ) {
   struct Node {
      Quor::U64 content[2];
   };
   using Places = Quor::Slab<Node>;
   const auto firstLink = []( Places &slab ) {
      const Places::Link link = slab.take().link;
      slab.give( slab.at( link ), link );
      return link;
   };
   const Places::Owned untroubled = Places::make();
   const Places::Owned refused = Places::make();
   for( const std::size_t allocation : { 2u, 1u, 1u } ) { // the table of chunks has its room then
      Quor::refusedAllocationIs( allocation );
      EXPECT_THROW( refused->prepare(), std::bad_alloc );
      Quor::refusedAllocationIs( 0 );
   }
   EXPECT_EQ( firstLink( *refused ), firstLink( *untroubled ) );
}

TEST( CollectionRefusal, OfAWalkThatChangesTheMap ) {
   struct Walked : Filled {
      void work() {
         for( auto at = shelf->map.begin(); at != shelf->map.end(); ++at ) {
            const U32 number = at->key().number + 10;
            if( number < 60 ) {
               wanted[number] = text( number );
               shelf->map.set( { number }, wanted[number] );
            }
         }
      }
      void isDone() const {}
   };
   EXPECT_GT( goesOn<Walked>(), 10u );
}

// Queues

class Line : public Quor::PtrInterface {
 public:
   Quor::LinkQueue<String> queue{ this };
};

struct Queued {
   using Entry = Quor::LinkQueue<String>::Entry;
   Ptr<Line> line = Quor::make<Line>();
   Ptr<Entry> held; // so that its place cannot be used again

   Queued() {
      for( U32 number = 0; number < 40; ++number ) {
         line->queue.enq( text( number ) );
      }
      held = line->queue.take( 20 );
   }
   /// The queue walks what it counts, in order, and finds each under its key.
   void isSound() const {
      U32 walked = 0;
      for( auto at = line->queue.begin(); at != line->queue.end(); ++at ) {
         ++walked;
         EXPECT_EQ( line->queue.find( at->key() )->value(), at->value() );
         EXPECT_NE( at->value(), "" );
      }
      EXPECT_EQ( walked, line->queue.count() );
      EXPECT_EQ( held->value(), text( 20 ) );
   }
};

template <class Work>
std::size_t queueStaysSound( const Work &work ) {
   return refuseEach<Queued>( work, []( Queued &world, bool ) {
      world.isSound();
      const U32 count = world.line->queue.count();
      for( U32 i = 0; i < count; ++i ) {
         EXPECT_TRUE( world.line->queue.deq() );
      }
      EXPECT_EQ( world.line->queue.pageCount(), 0u );
      world.line->queue.enq( text( 1 ) );
      world.isSound();
   } );
}

TEST( CollectionRefusal, OfAQueueThatGrowsByPages ) {
   EXPECT_GT( queueStaysSound( []( Queued &world ) {
                 for( U32 number = 40; number < 140; ++number ) {
                    world.line->queue.enq( text( number ) );
                 }
              } ),
              100u );
}

TEST( CollectionRefusal, OfPositionsFarApart ) {
   EXPECT_GT( queueStaysSound( []( Queued &world ) {
                 for( U32 key = 1000; key < 20000; key += 1000 ) {
                    world.line->queue.set( key, text( key ) );
                 }
                 world.line->queue.insert( 500, text( 500 ) );
              } ),
              40u );
}

TEST( CollectionRefusal, OfAPositionWhoseFormerEntryIsHeld ) {
   EXPECT_GE( queueStaysSound( []( Queued &world ) { world.line->queue.set( 20, text( 21 ) ); } ),
              2u );
}

TEST( CollectionRefusal, OfAnotherValueInTheQueueKeepsTheFormerOne ) {
   EXPECT_GE( queueStaysSound( []( Queued &world ) { world.line->queue.set( 3, text( 99 ) ); } ),
              1u );
}

} // namespace
} // namespace Faults
