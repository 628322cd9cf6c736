// Walks over collections by name: from the start, from a key, and while the collection changes.
#include "tests/unit/introspection/Pipeline.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace IntrospectionTests {
namespace {

const String kMacs = "virtualRouterMac";

/// A table with the keys of VLANs 10 to 80, in steps of 10.
struct Table {
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Any any = genericIf( table );
   std::vector<VlanAndMac> inOrder;

   Table() {
      for( U16 vlan = 10; vlan <= 80; vlan = static_cast<U16>( vlan + 10 ) ) {
         table->virtualRouterMacIs( pair( vlan, 1 ), vlan != 40 );
      }
      for( const auto &entry : table->virtualRouterMacs() ) {
         inOrder.push_back( entry.key() );
      }
   }
   std::unique_ptr<AttributeIterator> start() const {
      return any->attributeIteratorConst( any->attributeId( kMacs ) );
   }
   std::unique_ptr<AttributeIterator> from( const VlanAndMac &key ) const {
      return any->attributeIteratorKeyConst( any->attributeId( kMacs ), genericIf( key ) );
   }
   /// What a walk shows that visits all keys but the first few.
   Lines behind( std::size_t count ) const {
      Lines lines;
      for( std::size_t i = count; i < inOrder.size(); ++i ) {
         lines.push_back( line( inOrder[i], inOrder[i].vlanId().number() != 40 ) );
      }
      return lines;
   }
   static String line( const VlanAndMac &key, bool flag ) {
      return shown( genericIf( key ) ) + " -> " + shown( genericIf( flag ) );
   }
};

TEST( Walk, VisitsEveryEntryInTheOrderOfTheCollection ) {
   const Table given;
   EXPECT_EQ( walked( given.start() ), given.behind( 0 ) );
   EXPECT_EQ( given.behind( 0 ).size(), 8u );
}

TEST( Walk, OverAnEmptyCollectionStandsAtNoEntry ) {
   const Any any = genericIf( virtualRouterMacTableFactory() );
   EXPECT_FALSE( any->attributeIteratorConst( any->attributeId( kMacs ) )->nonNull() );
   EXPECT_FALSE(
         any->attributeIteratorKeyConst( any->attributeId( kMacs ), genericIf( a ) )->nonNull() );
}

TEST( Walk, FromAKeyThatIsThereStartsAtIt ) {
   const Table given;
   for( std::size_t i = 0; i < given.inOrder.size(); ++i ) {
      EXPECT_EQ( walked( given.from( given.inOrder[i] ) ), given.behind( i ) ) << i;
   }
}

TEST( Walk, FromAKeyThatIsNotThereStartsAtTheNextInOrder ) {
   Table given;
   for( std::size_t i = 0; i < given.inOrder.size(); ++i ) {
      const VlanAndMac key = given.inOrder[i];
      const bool flag = given.table->virtualRouterMacDel( key );
      EXPECT_EQ( walked( given.from( key ) ), given.behind( i + 1 ) ) << i;
      given.table->virtualRouterMacIs( key, flag );
   }
}

TEST( Walk, FromAKeyBehindTheLastStandsAtNoEntry ) {
   Table given;
   const VlanAndMac last = given.inOrder.back();
   given.table->virtualRouterMacDel( last );
   EXPECT_FALSE( given.from( last )->nonNull() );
}

TEST( Walk, OverAQueueGoesFromTheHeadAndFromAPosition ) {
   Programmer world( 4 );
   world.sm->freeVirtualRouterIndexDel( 2 );
   const Any any = genericIf( world.sm );
   const AttrId id = any->attributeId( "freeVirtualRouterIndex" );
   const auto from = [&]( U32 position ) {
      return walked( any->attributeIteratorKeyConst( id, genericIf( position ) ) );
   };
   EXPECT_EQ( walked( any->attributeIteratorConst( id ) ),
              ( Lines{ "U32 0 -> U32 0", "U32 1 -> U32 1", "U32 3 -> U32 3" } ) );
   EXPECT_EQ( from( 1 ), ( Lines{ "U32 1 -> U32 1", "U32 3 -> U32 3" } ) );
   EXPECT_EQ( from( 2 ), ( Lines{ "U32 3 -> U32 3" } ) );
   EXPECT_EQ( from( 4 ), Lines{} );
}

TEST( Walk, GivesInterfacesToTheObjectsThatItVisits ) {
   Pipeline world;
   const Any any = genericIf( world.reflector );
   const auto at = any->attributeIteratorConst( any->attributeId( "vlanIntfSm" ) );
   ASSERT_TRUE( at->nonNull() );
   EXPECT_EQ( shown( at->iterKey() ), "Pelmo::IntfId br10" );
   EXPECT_EQ( at->iterObj()->voidPtrIs( typeOf<VlanIntfSm>() ), world.interface().get() );
}

TEST( Walk, ThatIsClonedGoesOnFromThereOnItsOwn ) {
   const Table given;
   const auto at = given.start();
   at->iterInc();
   at->iterInc();
   const auto clone = at->iterClone();
   at->iterInc();
   EXPECT_EQ( shown( clone->iterKey() ), shown( genericIf( given.inOrder[2] ) ) );
   EXPECT_EQ( walked( clone->iterClone() ), given.behind( 2 ) );
   EXPECT_EQ( shown( at->iterKey() ), shown( genericIf( given.inOrder[3] ) ) );
   at->iterDel();
   EXPECT_TRUE( clone->nonNull() );
}

TEST( Walk, ThatIsEndedStandsAtNoEntryAndLetsTheCollectionGo ) {
   struct Watcher : VirtualRouterMacTable::NotifieeConst {
      void onZeroReferences() override { ++gone; }
      using NotifieeConst::onVirtualRouterMac;
      int gone = 0;
   };
   const auto watcher = make<Watcher>();
   auto table = virtualRouterMacTableFactory();
   table->virtualRouterMacIs( a, true );
   watcher->uncountedNotifierIs( table );
   watcher->isRegisteredNotifieeIs( true );
   Any any = genericIf( table );
   const auto at = any->attributeIteratorConst( any->attributeId( kMacs ) );
   any = nullptr;
   table = nullptr;
   EXPECT_EQ( watcher->gone, 0 ) << "the walk holds it";
   EXPECT_EQ( shown( at->iterKey() ), shown( genericIf( a ) ) );
   at->iterDel();
   EXPECT_EQ( watcher->gone, 1 );
   EXPECT_FALSE( at->nonNull() );
   EXPECT_FALSE( at->iterClone()->nonNull() );
}

TEST( Walk, BehindTheLastEntryIsARangeError ) {
   Table given;
   Programmer world( 1 );
   const Any sm = genericIf( world.sm );
   auto map = given.start();
   auto queue = sm->attributeIteratorConst( sm->attributeId( "freeVirtualRouterIndex" ) );
   const auto ended = given.start();
   ended->iterDel();
   for( AttributeIterator *const at : { map.get(), queue.get(), ended.get() } ) {
      while( at->nonNull() ) {
         at->iterInc();
      }
      const String failure = "RangeException: the walk stands at no entry";
      EXPECT_EQ( outcome( [&] { return at->iterKey(); } ), failure );
      EXPECT_EQ( outcome( [&] { return at->iterObj(); } ), failure );
      EXPECT_EQ( outcome( [&]() -> Any {
                    at->iterInc();
                    return nullptr;
                 } ),
                 failure );
      EXPECT_FALSE( at->nonNull() );
   }
}

TEST( Walk, SkipsWhatIsRemovedAndGoesOnBehindTheEntryThatItStoodAt ) {
   Table given;
   const auto at = given.start();
   at->iterInc();
   given.table->virtualRouterMacDel( given.inOrder[1] ); // under the walk
   given.table->virtualRouterMacDel( given.inOrder[3] ); // ahead of it
   EXPECT_TRUE( at->nonNull() );
   EXPECT_EQ( shown( at->iterKey() ), shown( genericIf( given.inOrder[1] ) ) );
   at->iterInc();
   EXPECT_EQ( shown( at->iterKey() ), shown( genericIf( given.inOrder[2] ) ) );
   at->iterInc();
   EXPECT_EQ( walked( at->iterClone() ), given.behind( 4 ) );
}

TEST( Walk, VisitsEveryEntryThatStaysExactlyOnceWhileTheMapGrows ) {
   Table given;
   Lines visited;
   U16 vrid = 2;
   for( const auto at = given.start(); at->nonNull(); at->iterInc() ) {
      visited.push_back( shown( at->iterKey() ) );
      for( U16 vlan = 1; vlan <= 20 && vrid < 12; ++vlan ) {
         given.table->virtualRouterMacIs( pair( vlan, vrid ), true );
      }
      ++vrid;
   }
   for( const VlanAndMac &key : given.inOrder ) {
      EXPECT_EQ( std::count( visited.begin(), visited.end(), shown( genericIf( key ) ) ), 1 )
            << key;
   }
   std::sort( visited.begin(), visited.end() );
   EXPECT_TRUE( std::adjacent_find( visited.begin(), visited.end() ) == visited.end() );
}

TEST( Walk, RemovesEverythingByNameUnderItself ) {
   Table given;
   std::size_t removed = 0;
   for( const auto at = given.start(); at->nonNull(); at->iterInc() ) {
      did( given.any, kMacs, Op::remove, at->iterKey() );
      ++removed;
   }
   EXPECT_EQ( removed, 8u );
   EXPECT_EQ( given.table->virtualRouterMacs().size(), 0u );
}

TEST( Walk, ShowsAValueThatWasChangedUnderIt ) {
   Table given;
   const auto at = given.from( pair( 40, 1 ) );
   EXPECT_EQ( shown( at->iterObj() ), "bool false" );
   given.table->virtualRouterMacIs( pair( 40, 1 ), true );
   EXPECT_EQ( shown( at->iterObj() ), "bool true" );
}

TEST( Walk, GoesOverCollectionsOnly ) {
   Pipeline world;
   const auto walk = []( const Any &any, const String &name, bool fromKey ) {
      return outcome( [&] {
         const AttrId id = any->attributeId( name );
         fromKey ? any->attributeIteratorKeyConst( id, genericIf( a ) )
                 : any->attributeIteratorConst( id );
         return Any();
      } );
   };
   for( const bool fromKey : { false, true } ) {
      EXPECT_EQ( walk( genericIf( a ), "vlanId", fromKey ), notSupported( "vlanId", Op::get ) );
      EXPECT_EQ( walk( genericIf( a ), "hash", fromKey ), notSupported( "hash", Op::get ) );
      EXPECT_EQ( walk( genericIf( world.programmer ), "vrrpHelper", fromKey ),
                 notSupported( "vrrpHelper", Op::get ) );
      EXPECT_EQ( walk( genericIf( world.helper ), "name", fromKey ),
                 notSupported( "name", Op::get ) );
   }
}

TEST( Walk, FromAKeyNeedsAKeyOfTheCollectionsType ) {
   const Table given;
   const AttrId id = given.any->attributeId( kMacs );
   const auto from = [&]( const Any &key ) {
      return outcome( [&] {
         given.any->attributeIteratorKeyConst( id, key );
         return Any();
      } );
   };
   EXPECT_EQ( from( nullptr ), kNoKey );
   EXPECT_EQ( from( genericIf( mac( 1 ) ) ), kNoKey );
   EXPECT_EQ( from( genericIf( U32{ 0 } ) ), kNoKey );
   EXPECT_EQ( outcome( [&] {
                 given.any->attributeIteratorConst( 9 );
                 return Any();
              } ),
              noAttribute( "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable", "9" ) );
}

} // namespace
} // namespace IntrospectionTests
