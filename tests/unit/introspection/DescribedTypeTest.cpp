// A type of somebody else's, with one attribute of every kind: its description is all that is
// written for it, and everything works by name.
#include "quor/Introspection.h"
#include "tests/unit/introspection/Access.h"

#include <gtest/gtest.h>

namespace Shop {

using Quor::Ptr;
using Quor::U32;

/// What every fitting has.
class Fitting : public Quor::Entity {
 public:
   enum Attr : Quor::AttrId { kMaker = Quor::kFirstEntityAttribute };
   const Quor::Name &maker() const noexcept { return maker_; }
   void makerIs( const Quor::Name &maker ) { maker_ = maker; }

 private:
   Quor::Name maker_ = "Bright";
};

class Bulb : public Quor::Entity {
 public:
   class NotifieeConst;
   class Notifiee;
   explicit Bulb( U32 watts ) : watts_( watts ) {}
   U32 watts() const noexcept { return watts_; }

 private:
   const U32 watts_;
};

class Lamp : public Fitting {
 public:
   class NotifieeConst : public Quor::NotifieeConstOf<Lamp> {
    public:
      virtual void onSocket( U32 ) {}
   };
   enum Attr : Quor::AttrId { kRoom = 200, kLit, kBulb, kSocket };
   using Sockets = Quor::HashMap<Bridging::VlanId, bool>;
   using Spares = Quor::HashMap<Pelmo::IntfId, Ptr<Bulb>>;
   using Orders = Quor::LinkQueue<U32>;

   explicit Lamp( const Quor::Name &room ) : room_( room ) {}

   const Quor::Name &room() const noexcept { return room_; }
   bool lit() const noexcept { return lit_; }
   void litIs( bool lit ) noexcept { lit_ = lit; }
   const Ptr<Bulb> &bulb() const noexcept { return bulb_; }
   void bulbIs( const Ptr<Bulb> &bulb ) { bulb_ = bulb; }
   const Sockets &sockets() const noexcept { return sockets_; }
   void socketIs( Bridging::VlanId at, bool on ) { sockets_.is( at, on ); }
   bool socketDel( Bridging::VlanId at ) { return sockets_.del( at ); }
   void socketNotify( Bridging::VlanId at ) const {
      notify<NotifieeConst, U32, &NotifieeConst::onSocket>( kSocket, U32{ at.number() } );
   }
   const Spares &spares() const noexcept { return spares_; }
   Ptr<Bulb> spareDel( const Pelmo::IntfId &at ) {
      const auto entry = spares_.take( at );
      return entry ? entry->value() : nullptr;
   }
   void newSpare( const Pelmo::IntfId &at, U32 watts ) {
      spares_.insert( at, Quor::make<Bulb>( watts ) );
   }
   const Orders &orders() const noexcept { return orders_; }
   void orderIs( U32 at, U32 value ) { orders_.set( at, value ); }
   U32 orderDel( U32 at ) {
      const auto entry = orders_.take( at );
      return entry ? entry->value() : 0;
   }
   U32 blink() { return ++blinked_; }
   U32 blink( U32 times, bool ) { return blinked_ += times; }
   Ptr<Bulb> brightest( const Ptr<const Bulb> &than ) const {
      return bulb_ && bulb_->watts() > than->watts() ? bulb_ : nullptr;
   }

 private:
   const Quor::Name room_;
   bool lit_ = false;
   Ptr<Bulb> bulb_;
   Quor::NotifiedMap<Bridging::VlanId, bool, &Lamp::socketNotify> sockets_{ this };
   Spares spares_{ this };
   Orders orders_{ this };
   U32 blinked_ = 0;
};

} // namespace Shop

namespace Quor {

template <>
struct Describe<Shop::Bulb> {
   using T = Shop::Bulb;
   static constexpr auto attrs =
         attributes<kFirstEntityAttribute>( parameter( value<&T::watts>( "watts" ) ) );
   static constexpr Type type = entity<T, &make<T, const U32 &>>( "Shop::Bulb", attrs );
};

template <>
struct Describe<Shop::Fitting> {
   using T = Shop::Fitting;
   static constexpr auto attrs = attributes<T::kMaker>( value<&T::maker, &T::makerIs>( "maker" ) );
   static constexpr Type type = entity<T>( "Shop::Fitting", attrs );
};

template <>
struct Describe<Shop::Lamp> {
   using T = Shop::Lamp;
   static constexpr auto attrs = attributes<T::kRoom>(
         parameter( value<&T::room>( "room" ) ), value<&T::lit, &T::litIs>( "lit" ),
         pointer<&T::bulb, &T::bulbIs>( "bulb" ),
         keyed<&T::sockets, &T::socketIs, &T::socketDel>( "socket" ),
         owned<&T::spares, &T::spareDel>( "spare" ),
         queue<&T::orders, &T::orderIs, &T::orderDel>( "order" ),
         function<taking<>( &T::blink ), taking<U32, bool>( &T::blink )>( "blink", "times",
                                                                          "fast" ),
         function<&T::brightest>( "brightest", "than" ) );
   static constexpr Type type =
         entityOn<T, Shop::Fitting, &make<T, const Name &>>( "Shop::Lamp", attrs );
};

} // namespace Quor

namespace IntrospectionTests {
namespace {

using Shop::Bulb;
using Shop::Lamp;

struct DescribedType : testing::Test {
   Ptr<Lamp> lamp = make<Lamp>( Quor::Name( "hall" ) );
   Any any = genericIf( lamp );
   Any bulb = genericIf( make<Bulb>( U32{ 40 } ) );
   Any left = genericIf( IntfId( "left" ) );
};

TEST_F( DescribedType, IsRegisteredRowByRow ) {
   const std::vector<const Type *> types{ typeOf<Bulb>(), typeOf<Shop::Fitting>(), typeOf<Lamp>() };
   Quor::IntrospectionReactor &registry = Quor::IntrospectionReactor::instance();
   Quor::registerTypes( { "Shop" }, types );
   Lines rows;
   for( const Quor::QuorAttr &row : registry.find( "Shop::Lamp" )->attributes() ) {
      rows.push_back( std::to_string( row.id ) + " " + row.name + " " + row.type + " " +
                      std::to_string( row.arguments.size() ) );
   }
   EXPECT_EQ( rows, ( Lines{ "200 room Quor::Name 0", "201 lit bool 0", "202 bulb Shop::Bulb 0",
                             "203 socket bool 1", "204 spare Shop::Bulb 1", "205 order U32 1",
                             "206 blink U32 2", "207 brightest Shop::Bulb 1" } ) );
   EXPECT_EQ( registry.attribute( "Shop::Lamp", "maker" ).id, 130u );
   EXPECT_EQ( registry.find( "Shop::Lamp" )->base(), typeOf<Shop::Fitting>() );
   for( const Type *const type : types ) {
      registry.typeDel( type );
   }
   EXPECT_EQ( registry.find( "Shop::Lamp" ), nullptr );
}

TEST_F( DescribedType, IsMadeFromItsParameters ) {
   const Any made = any->genericIfListConstructor( listOf( genericIf( Quor::Name( "attic" ) ) ) );
   EXPECT_EQ( got( made, "room" ), "Quor::Name 'attic'" );
   EXPECT_EQ( outcome( [&] { return any->genericIfListConstructor( listOf() ); } ),
              wrongType( "room" ) );
   EXPECT_EQ( outcome( [&] { return any->genericIfListConstructor( listOf( left, left ) ); } ),
              unknownArgument( "Lamp" ) );
}

TEST_F( DescribedType, HasValuesAndPointers ) {
   EXPECT_EQ( got( any, "lit" ), "bool false" );
   EXPECT_EQ( did( any, "lit", Op::set, nullptr, genericIf( true ) ), "nothing" );
   EXPECT_TRUE( lamp->lit() );
   EXPECT_EQ( did( any, "room", Op::set, nullptr, genericIf( Quor::Name( "x" ) ) ),
              notSupported( "room", Op::set ) );
   EXPECT_EQ( got( any, "bulb" ), "nothing" );
   EXPECT_EQ( did( any, "bulb", Op::set, nullptr, bulb ), "nothing" );
   EXPECT_EQ( got( read( any, "bulb" ), "watts" ), "U32 40" );
   EXPECT_EQ( did( any, "bulb", Op::set, nullptr, any ), wrongType( "bulb" ) );
   EXPECT_EQ( did( any, "lit", Op::set, left, genericIf( true ) ), badIndex( "lit" ) );
}

TEST_F( DescribedType, HasTheAttributesOfItsBase ) {
   EXPECT_EQ( any->attributeId( "maker" ), 130u );
   EXPECT_EQ( did( any, "maker", Op::set, nullptr, genericIf( Quor::Name( "Dim" ) ) ), "nothing" );
   EXPECT_EQ( lamp->maker(), Quor::Name( "Dim" ) );
   EXPECT_EQ( got( any, "maker" ), "Quor::Name 'Dim'" );
   EXPECT_EQ( outcome( [&] { return genericIf( any->attributeId( "taker" ) ); } ),
              noAttribute( "Shop::Lamp", "taker" ) );
}

TEST_F( DescribedType, HasCollectionsThatNotify ) {
   struct Watcher : Lamp::NotifieeConst {
      void onSocket( U32 at ) override { heard.push_back( at ); }
      std::vector<U32> heard;
   };
   const auto watcher = make<Watcher>();
   watcher->notifierIs( lamp );
   watcher->isRegisteredNotifieeIs( true );
   const Any at = genericIf( VlanId( 3 ) );
   EXPECT_EQ( did( any, "socket", Op::set, at, genericIf( true ) ), "nothing" );
   EXPECT_EQ( did( any, "socket", Op::set, at, genericIf( true ) ), "nothing" );
   EXPECT_EQ( walked( any, "socket" ), ( Lines{ "Bridging::VlanId 3 -> bool true" } ) );
   EXPECT_EQ( did( any, "socket", Op::remove, at ), "bool true" );
   EXPECT_EQ( did( any, "socket", Op::remove, at ), "bool false" );
   EXPECT_EQ( watcher->heard, ( std::vector<U32>{ 3, 3 } ) );

   lamp->newSpare( IntfId( "left" ), 60 );
   EXPECT_EQ( got( perform( any, "spare", Op::get, left ), "watts" ), "U32 60" );
   EXPECT_EQ( did( any, "spare", Op::set, left, bulb ), notSupported( "spare", Op::set ) );
   EXPECT_EQ( got( perform( any, "spare", Op::remove, left ), "watts" ), "U32 60" );
   EXPECT_EQ( did( any, "spare", Op::isMember, left ), "bool false" );

   EXPECT_EQ( did( any, "order", Op::set, genericIf( U32{ 5 } ), genericIf( U32{ 8 } ) ),
              "nothing" );
   EXPECT_EQ( did( any, "order", Op::size ), "U32 1" );
   EXPECT_EQ( walked( any, "order" ), ( Lines{ "U32 5 -> U32 8" } ) );
}

TEST_F( DescribedType, HasFunctionsWithResults ) {
   const Any twice = genericIf( U32{ 2 } );
   EXPECT_EQ( called( any, "blink", listOf() ), "U32 1" );
   EXPECT_EQ( called( any, "blink", listOf( twice, genericIf( true ) ) ), "U32 3" );
   EXPECT_EQ( called( any, "blink", listOf( twice ) ), wrongType( "fast" ) );
   EXPECT_EQ(
         called( any, "blink", named( { { "fast", genericIf( true ) }, { "times", twice } } ) ),
         "U32 5" );
   EXPECT_EQ( called( any, "brightest", listOf( bulb ) ), "nothing" );
   did( any, "bulb", Op::set, nullptr, bulb );
   const Any dim = genericIf( make<Bulb>( U32{ 5 } ), true );
   const Any brightest = perform( any, "brightest", Op::get, listOf( dim ) );
   EXPECT_EQ( got( brightest, "watts" ), "U32 40" );
}

TEST_F( DescribedType, IsReadOnlyThroughAnInterfaceThatOnlyReads ) {
   const Any view = genericIf( Ptr<const Lamp>( lamp ) );
   for( const char *name :
        { "room", "lit", "bulb", "socket", "spare", "order", "blink", "maker" } ) {
      EXPECT_EQ( did( view, name, Op::set, left, left ), kConst ) << name;
      EXPECT_EQ( did( view, name, Op::remove, left ), kConst ) << name;
   }
   EXPECT_EQ( called( view, "blink", listOf() ), kConst );
   EXPECT_EQ( called( view, "brightest", listOf( bulb ) ), "nothing" );
   EXPECT_EQ( got( view, "lit" ), "bool false" );
   EXPECT_TRUE( view->clone()->isConst() );
   EXPECT_EQ( view->strRep(), "Shop::Lamp" );
}

TEST_F( DescribedType, WithANameTwiceDoesNotPass ) {
   using Quor::attributes;
   EXPECT_THROW(
         (void)attributes<2>( Quor::value<&Lamp::lit>( "lit" ), Quor::value<&Lamp::room>( "lit" ) ),
         const char * );
}

} // namespace
} // namespace IntrospectionTests
