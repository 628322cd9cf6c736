// The published record, and the status table that holds the records.
#include "platform/VirtualRouterMac.h"
#include "platform/VirtualRouterMacStatus.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace Routing::Fhrp {
namespace {

using Pelmo::EthAddr;
using Pelmo::IntfId;
using Quor::String;

const IntfId kIntf( "br10" );
const EthAddr kMac( 0x0000, 0x5e00, 0x010a );
const VirtualRouterMac kRecord( kIntf, kMac );

VirtualRouterMac read( const String &text ) {
   return strepToValue( Quor::Strep<VirtualRouterMac>{}, text );
}

TEST( VirtualRouterMac, IsAnInterfaceAndAMac ) {
   EXPECT_EQ( kRecord.intf(), kIntf );
   EXPECT_EQ( kRecord.mac(), kMac );
   EXPECT_EQ( VirtualRouterMac(), VirtualRouterMac( IntfId(), EthAddr() ) );
}

TEST( VirtualRouterMac, IsOrderedByTheInterfaceThenByTheMac ) {
   const std::vector<VirtualRouterMac> ascending{
         VirtualRouterMac(),
         { IntfId( "a" ), EthAddr( 0, 0, 2 ) },
         { IntfId( "b" ), EthAddr( 0, 0, 1 ) },
         { IntfId( "b" ), EthAddr( 0, 0, 3 ) },
   };
   for( std::size_t i = 0; i < ascending.size(); ++i ) {
      for( std::size_t j = 0; j < ascending.size(); ++j ) {
         EXPECT_EQ( ascending[i] < ascending[j], i < j ) << ascending[i] << " " << ascending[j];
         EXPECT_EQ( ascending[i] == ascending[j], i == j ) << ascending[i] << " " << ascending[j];
      }
   }
}

TEST( VirtualRouterMac, HashesInterfaceAndMac ) {
   EXPECT_EQ( kRecord.hash(), kIntf.hash() ^ kMac.hash() );
   EXPECT_EQ( naturalHash( kRecord ), kRecord.hash() );
}

TEST( VirtualRouterMac, IsWrittenWithASlashBetweenInterfaceAndMac ) {
   EXPECT_EQ( valueToStrep( kRecord ), "br10/00:00:5e:00:01:0a" );
   std::ostringstream out;
   out << kRecord;
   EXPECT_EQ( out.str(), "br10/00:00:5e:00:01:0a" );
   EXPECT_EQ( valueToStrep( VirtualRouterMac() ), "/00:00:00:00:00:00" );
}

TEST( VirtualRouterMac, IsReadInEveryFormOfTheMac ) {
   for( const char *text :
        { "br10/00:00:5e:00:01:0a", "br10/0000.5E00.010A", "br10/00-00-5e-00-01-0a" } ) {
      EXPECT_EQ( read( text ), kRecord ) << text;
   }
   EXPECT_EQ( read( "/00:00:00:00:00:00" ), VirtualRouterMac() );
}

TEST( VirtualRouterMac, ReadsBackWhatIsWrittenWhateverTheName ) {
   for( const char *name : { "br10", "eth0.100", "a:b", "123456789012345", "a,b", "a)b", "a}b" } ) {
      const VirtualRouterMac record( IntfId( name ), kMac );
      try {
         EXPECT_EQ( read( valueToStrep( record ) ), record );
      } catch( const Quor::RangeException &error ) {
         ADD_FAILURE() << record << ": " << error.what();
      }
   }
}

TEST( VirtualRouterMac, AnythingElseIsARangeErrorThatChangesNothing ) {
   struct Row {
      String text;
      const char *error;
   };
   for( const Row &row : {
              Row{ "br10", "expected \"/\", found the end of the text" },
              Row{ "br10 00:00:5e:00:01:0a", "expected \"/\", found the end of the text" },
              Row{ "br10/00:00", "\"00:00\" is not a MAC address (such as 00:00:5e:00:01:0a)" },
              Row{ "br10/",
                   "the end of the text is not a MAC address (such as 00:00:5e:00:01:0a)" },
              Row{ "br10/00:00:5e:00:01:0a ",
                   "junk at column 22 deserializing br10/00:00:5e:00:01:0a " },
              Row{ "1234567890123456/00:00:5e:00:01:0a",
                   "\"1234567890123456\" is not an interface name (at most 15 bytes, no '/' and no "
                   "white space)" },
        } ) {
      try {
         FAIL() << row.text << " was read as " << read( row.text );
      } catch( const Quor::RangeException &error ) {
         EXPECT_STREQ( error.what(), row.error );
      }
   }
   const String text = "br11/nothing";
   VirtualRouterMac record = kRecord;
   Quor::StringIterator at = text.begin();
   EXPECT_THROW( sequenceToValue( at, text.end(), record ), Quor::RangeException );
   EXPECT_EQ( record, kRecord );
}

TEST( VirtualRouterMac, InASequenceItEndsBehindItsMac ) {
   const String text = "br10/00:00:5e:00:01:0a, more";
   VirtualRouterMac record;
   Quor::StringIterator at = text.begin();
   sequenceToValue( at, text.end(), record );
   EXPECT_EQ( record, kRecord );
   EXPECT_EQ( String( at, text.end() ), ", more" );
}

TEST( VirtualRouterMacStatus, StartsEmptyAndAnswersFalseForWhatIsAbsent ) {
   const auto status = Quor::make<VirtualRouterMacStatus>();
   EXPECT_EQ( status->vrrpVirtualMacs().size(), 0u );
   EXPECT_FALSE( status->vrrpVirtualMac( kRecord ) );
   status->vrrpVirtualMacIs( kRecord, true );
   EXPECT_TRUE( status->vrrpVirtualMac( kRecord ) );
}

TEST( VirtualRouterMacStatus, OneMacOnTwoInterfacesIsTwoRecords ) {
   const auto status = Quor::make<VirtualRouterMacStatus>();
   const VirtualRouterMac other( IntfId( "br20" ), kMac );
   status->vrrpVirtualMacIs( kRecord, true );
   status->vrrpVirtualMacIs( other, true );
   EXPECT_EQ( status->vrrpVirtualMacs().size(), 2u );
   EXPECT_TRUE( status->vrrpVirtualMacDel( kRecord ) );
   EXPECT_TRUE( status->vrrpVirtualMac( other ) );
}

TEST( VirtualRouterMacStatus, AWatcherThatMayWriteWithdrawsWhatItSees ) {
   class Censor : public VirtualRouterMacStatus::Notifiee {
    public:
      using Notifiee::onVrrpVirtualMac;
      void onVrrpVirtualMac( const VirtualRouterMac &record ) override {
         notifier()->vrrpVirtualMacDel( record );
      }
   };
   const auto status = Quor::make<VirtualRouterMacStatus>();
   const auto censor = Quor::make<Censor>();
   censor->notifierIs( status );
   censor->isRegisteredNotifieeIs( true );
   status->vrrpVirtualMacIs( kRecord, true );
   EXPECT_EQ( status->vrrpVirtualMacs().size(), 0u );
}

} // namespace
} // namespace Routing::Fhrp
