// A type is described once: its name, its attributes, their kinds and identifiers.
#include "quor/Describe.h"

#include <gtest/gtest.h>

namespace Shop {

using Quor::U32;

struct Pin {
   U32 number = 0;
   bool operator==( const Pin & ) const = default;
   auto operator<=>( const Pin & ) const = default;
};

inline U32 naturalHash( Pin pin ) {
   return pin.number;
}

/// Something with every kind of attribute.
class Lamp : public Quor::PtrInterface {
 public:
   using Switches = Quor::HashMap<Pin, bool>;
   using Orders = Quor::LinkQueue<U32>;

   bool lit() const { return lit_; }
   void litIs( bool lit ) { lit_ = lit; }
   U32 serial() const noexcept { return 7; }
   Quor::Ptr<Lamp> next() const { return nullptr; }
   const Switches &switches() const noexcept { return switches_; }
   void switchIs( Pin, bool ) {}
   bool switchDel( Pin ) { return false; }
   const Orders &orders() const { return orders_; }
   void orderIs( U32 key, U32 value ) { orders_.set( key, value ); }
   U32 orderDel( U32 ) { return 0; }
   void blink() {}
   void blink( U32 ) {}

 private:
   bool lit_ = false;
   Switches switches_{ this };
   Orders orders_{ this };
};

} // namespace Shop

namespace Quor {

template <>
struct Describe<Shop::Pin> {
   static constexpr Type type{ .name = "Shop::Pin" };
};

template <>
struct Describe<Shop::Lamp> {
   using T = Shop::Lamp;
   static constexpr auto attrs = attributes<200>(
         value<&T::lit, &T::litIs>( "lit" ), value<&T::serial>( "serial" ),
         pointer<&T::next>( "next" ), keyed<&T::switches, &T::switchIs, &T::switchDel>( "switch" ),
         owned<&T::switches, &T::switchDel>( "owned" ),
         queue<&T::orders, &T::orderIs, &T::orderDel>( "order" ),
         function<taking<>( &T::blink ), taking<U32>( &T::blink )>( "blink", "times" ),
         function<&T::litIs>( "light", "on" ) );
   static constexpr Type type = entity<T>( "Shop::Lamp", attrs );
};

namespace {

constexpr const Type &kLamp = Describe<Shop::Lamp>::type;

TEST( Type, HasANameAndItsAttributesInTheOrderOfTheRows ) {
   EXPECT_EQ( kLamp.name, "Shop::Lamp" );
   std::vector<std::string_view> names;
   for( const Attribute &attribute : kLamp.attributes ) {
      names.push_back( attribute.name );
   }
   EXPECT_EQ( names, ( std::vector<std::string_view>{ "lit", "serial", "next", "switch", "owned",
                                                      "order", "blink", "light" } ) );
}

TEST( Type, IdentifiersCountUpFromTheFirst ) {
   AttrId expected = 200;
   for( const Attribute &attribute : kLamp.attributes ) {
      EXPECT_EQ( attribute.id, expected++ ) << attribute.name;
   }
}

TEST( Type, EveryRowSaysWhatKindOfAttributeItIs ) {
   struct Row {
      const char *name;
      AttrKind kind;
   };
   for( const Row &row :
        { Row{ "lit", AttrKind::value }, Row{ "serial", AttrKind::value },
          Row{ "next", AttrKind::pointer }, Row{ "switch", AttrKind::collection },
          Row{ "owned", AttrKind::collection }, Row{ "order", AttrKind::queue },
          Row{ "blink", AttrKind::function }, Row{ "light", AttrKind::function } } ) {
      const Attribute *const attribute = kLamp.find( row.name );
      ASSERT_NE( attribute, nullptr ) << row.name;
      EXPECT_EQ( attribute->kind, row.kind ) << row.name;
   }
}

TEST( Type, AFunctionHasTheNamesOfItsArguments ) {
   using Arguments = std::array<std::string_view, Attribute::kMostArguments>;
   EXPECT_EQ( kLamp.find( "blink" )->arguments, ( Arguments{ "times", "", "" } ) );
   EXPECT_EQ( kLamp.find( "light" )->arguments, ( Arguments{ "on", "", "" } ) );
   EXPECT_EQ( kLamp.find( "lit" )->arguments, Arguments() );
}

TEST( Type, AttributesAreFoundByNameAndByIdentifier ) {
   EXPECT_EQ( kLamp.find( "order" ), kLamp.find( AttrId{ 205 } ) );
   EXPECT_EQ( kLamp.find( "order" )->id, 205u );
   EXPECT_EQ( kLamp.find( AttrId{ 200 } )->name, "lit" );
   EXPECT_EQ( kLamp.find( "orders" ), nullptr );
   EXPECT_EQ( kLamp.find( "" ), nullptr );
   EXPECT_EQ( kLamp.find( AttrId{ 199 } ), nullptr );
   EXPECT_EQ( kLamp.find( AttrId{ 208 } ), nullptr );
}

TEST( Type, OneOfSeveralFunctionsOfANameIsChosenByItsArguments ) {
   using Blink = void ( Shop::Lamp::* )();
   using BlinkTimes = void ( Shop::Lamp::* )( U32 );
   EXPECT_TRUE( (std::is_same_v<decltype( taking<>( &Shop::Lamp::blink ) ), Blink>));
   EXPECT_TRUE( (std::is_same_v<decltype( taking<U32>( &Shop::Lamp::blink ) ), BlinkTimes>));
}

TEST( Type, ANameThatStandsTwiceIsRefused ) {
   using T = Shop::Lamp;
   EXPECT_THROW( (void)attributes<2>( value<&T::lit>( "lit" ), value<&T::serial>( "lit" ) ),
                 const char * );
   EXPECT_NO_THROW( (void)attributes<2>( value<&T::lit>( "lit" ), value<&T::serial>( "no" ) ) );
}

TEST( Type, AnObjectWithoutADescriptionHasNone ) {
   const auto lamp = make<Shop::Lamp>();
   EXPECT_EQ( lamp->fwkType(), nullptr );
   EXPECT_EQ( kFirstValueAttribute, 2u );
   EXPECT_EQ( kFirstEntityAttribute, 130u );
}

} // namespace
} // namespace Quor
