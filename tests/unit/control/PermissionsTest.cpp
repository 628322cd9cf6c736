// What may be changed by hand, and what every other change would do.
#include "agent/control/TypedText.h"
#include "tests/unit/control/ControlledSystem.h"

#include <gtest/gtest.h>

namespace OrloAgent {
namespace {

/// A command as it is typed: "set PATH VALUE", "remove PATH", "call PATH ARG...".
struct Command {
   std::string operation;
   std::string path;
   Lines arguments;
};

/// "done", or why not.
std::string outcome( const PathAccess &access, const Command &command ) {
   try {
      if( command.operation == "set" ) {
         access.set( command.path, command.arguments.at( 0 ) );
      } else if( command.operation == "remove" ) {
         access.remove( command.path );
      } else {
         access.call( command.path, command.arguments );
      }
      return "done";
   } catch( const PathError &error ) {
      return error.what();
   }
}

struct Row {
   Command command;
   std::string outcome;
};

/// Every row on a system of its own, which is sound after it.
void expect( const std::vector<Row> &rows ) {
   for( const auto &[command, expected] : rows ) {
      ControlledSystem system;
      EXPECT_EQ( outcome( *system.access, command ), expected )
            << command.operation << " " << command.path;
      EXPECT_EQ( system.flaw(), "" ) << command.operation << " " << command.path;
   }
}

/// Paths with the pairs of a system as it is made.
struct Pairs {
   ControlledSystem system;
   std::string held = shortText( genericIf( system.heldPair() ) );
   std::string waiting = shortText( genericIf( system.waitingPair() ) );
   static std::string shortText( const Ptr<Quor::GenericIf> &pair ) {
      return OrloAgent::shortText( pair );
   }
};

const std::string kStatus = "virtualRouterMacStatus/vrrpVirtualMac";
const std::string kSets = "intfVlanIdSetTable/sviVlanSet";
const std::string kTable = "virtualRouterMacTable/virtualRouterMac";
const std::string kReactor = "libSm/vlanIntfSm[br10]";
const std::string kMac = "00:00:5e:00:01:0";

// Allowed

TEST( Permissions, ARecordIsAddedAndRemovedWhereAVlanSetIsThere ) {
   ControlledSystem system;
   const std::string path = kStatus + "[br20," + kMac + "4]";
   EXPECT_EQ( outcome( *system.access, { "set", path, { "true" } } ), "done" );
   EXPECT_TRUE( system.table->virtualRouterMac( pairOf( 20, 4 ) ) );
   EXPECT_EQ( outcome( *system.access, { "remove", path, {} } ), "done" );
   EXPECT_FALSE( system.table->virtualRouterMac( pairOf( 20, 4 ) ) );
   EXPECT_EQ( system.flaw(), "" );
}

TEST( Permissions, AVlanJoinsAndLeavesAnInterfacesSet ) {
   ControlledSystem system;
   EXPECT_EQ( outcome( *system.access, { "set", kSets + "[br10]/vlanId[13]", { "true" } } ),
              "done" );
   EXPECT_TRUE( system.table->virtualRouterMac( pairOf( 13, 1 ) ) );
   EXPECT_EQ( outcome( *system.access, { "remove", kSets + "[br10]/vlanId[13]", {} } ), "done" );
   EXPECT_FALSE( system.table->virtualRouterMac( pairOf( 13, 1 ) ) );
   EXPECT_EQ( outcome( *system.access, { "set", kSets + "[br30]/vlanId[1]", { "true" } } ),
              "done" );
   EXPECT_EQ( outcome( *system.access, { "set", kSets + "[br30]/vlanId[4094]", { "true" } } ),
              "done" );
   EXPECT_EQ( system.flaw(), "" );
}

TEST( Permissions, TheCleanupIsSwitched ) {
   ControlledSystem system;
   for( const char *const value : { "true", "false" } ) {
      EXPECT_EQ( outcome( *system.access, { "set", "libSm/disableCleanupOnRestart", { value } } ),
                 "done" );
   }
   EXPECT_FALSE( system.libSm->disableCleanupOnRestart() );
}

TEST( Permissions, WhatIsInLineMayBeBroughtInLine ) {
   expect( { { { "call", "libSm/handleVirtualRouterMac", { "br10," + kMac + "1" } }, "done" },
             { { "call", "libSm/handleDmacsForIntf", { "br10" } }, "done" },
             { { "call", "libSm/handleDmacsForIntf", { "br20" } }, "done" },
             { { "call", "libSm/handleDmacsForIntf", { "intf=br99" } }, "done" },
             { { "call", kReactor + "/handleVlanId", { "11" } }, "done" },
             { { "call", kReactor + "/handleDmac", { kMac + "1" } }, "done" },
             { { "call", "vrrpSm/handleVrrpMac", { "99," + kMac + "1" } }, "done" },
             { { "call", "vrrpSm/macsNeedingVirtualRouterIndex[0]/hash", {} }, "done" } } );
}

// Refused

TEST( Permissions, RecordsThatTheReflectorCannotStandForAreRefused ) {
   const std::string noSet =
         "refused: would stop the process: the reflector requires a VLAN set for br99";
   expect( { { { "set", kStatus + "[br99," + kMac + "1]", { "true" } }, noSet },
             { { "set", kStatus + "[br99," + kMac + "1]", { "false" } }, noSet },
             { { "set", kStatus + "[br10,02:00:00:00:00:01]", { "true" } },
               "refused: would route frames to 02:00:00:00:00:01, which is no MAC of VRRP" },
             { { "set", kStatus + "[br10," + kMac + "0]", { "true" } },
               "refused: would route frames to 00:00:5e:00:01:00, which is no MAC of VRRP" },
             { { "set", kStatus + "[br10," + kMac + "1]", { "false" } },
               "refused: would leave a key that counts as absent: remove it" } } );
}

TEST( Permissions, VlansThatDoNotBelongIntoTheSetAreRefused ) {
   const std::string none = ": VLANs are 1 to 4094";
   const std::string shared = "refused: would share VLAN 20 with br20: a pair that one of them "
                              "removes is gone for both";
   expect( { { { "set", kSets + "[br10]/vlanId[0]", { "true" } },
               "refused: would take indexes for VLAN 0" + none },
             { { "set", kSets + "[br10]/vlanId[4095]", { "true" } },
               "refused: would take indexes for VLAN 4095" + none },
             { { "set", kSets + "[br10]/vlanId[20]", { "true" } }, shared },
             { { "set", kSets + "[br10]/vlanId[11]", { "false" } },
               "refused: would leave VLAN 11 in the set, where the next MAC takes it for a "
               "member: remove it" },
             { { "remove", kSets + "[br10]", {} },
               "refused: would stop the process when br10 next gets a first MAC: the reflector "
               "requires its VLAN set" } } );
}

TEST( Permissions, TheTableOfWantedPairsIsTheReflectors ) {
   const Pairs pairs;
   expect( { { { "set", kTable + "[" + pairs.held + "]", { "false" } },
               "refused: would stop the process: the programmer takes a held pair whose flag "
               "changes for a new one" },
             { { "set", kTable + "[" + pairs.waiting + "]", { "false" } },
               "refused: would let the pair wait twice, and stop the process at its second turn" },
             { { "set", kTable + "[99," + kMac + "1]", { "false" } },
               "refused: would stop the process when the reflector wants the pair: a flag that "
               "changes makes the programmer take a held pair for a new one" },
             { { "set", kTable + "[99," + kMac + "1]", { "true" } },
               "refused: would program a pair that the reflector does not stand for, and never "
               "removes" },
             { { "set", kTable + "[" + pairs.held + "]", { "true" } },
               "refused: would do nothing: the reflector has put it there" },
             { { "remove", kTable + "[" + pairs.held + "]", {} },
               "refused: would take a pair from the hardware that the reflector still stands "
               "for" } } );
}

const std::string kUnread = "refused: would change nothing but a flag that nobody reads";
const std::string kDeaf = "refused: would make it deaf: what changes would not reach the hardware";
const std::string kHears = "refused: would do nothing: it hears what changes";
const std::string kNoZombie = "refused: would do nothing: it is no zombie";

TEST( Permissions, TheReflectorsOwnStateIsItsOwn ) {
   expect( { { { "call", "libSm/handleVirtualRouterMac", { "br10," + kMac + "7" } },
               "refused: would withdraw br10/00:00:5e:00:01:07, which is not in the status table" },
             { { "remove", "libSm/vlanIntfSm[br10]", {} },
               "refused: would leave the pairs of the interface in the table, with nobody to "
               "remove them" },
             { { "remove", "libSm/dmacsForIntf[br10]", {} },
               "refused: would take MACs from the hardware that the status table still has" },
             { { "set", "libSm/dmacsForIntf[br10]/ethAddr[" + kMac + "7]", { "true" } },
               "refused: would part the MACs of an interface from the status table: change that" },
             { { "remove", "libSm/dmacsForIntf[br10]/ethAddr[" + kMac + "1]", {} },
               "refused: would part the MACs of an interface from the status table: change that" },
             { { "set", "libSm/initialized", { "false" } }, kUnread },
             { { "set", "libSm/initialized", { "true" } }, kUnread },
             { { "call", "libSm/handleInitialized", {} },
               "refused: would empty the table of wanted pairs: every pair would leave the "
               "hardware" },
             { { "call", "libSm/hasNotificationActiveIs", { "false" } }, kDeaf },
             { { "call", "libSm/hasNotificationActiveIs", { "true" } }, kHears },
             { { "call", "libSm/quorDoZombieReactors", { "true" } }, kDeaf },
             { { "call", "libSm/quorDoZombieReactors", { "false" } }, kNoZombie } } );
}

TEST( Permissions, TheReactorOfAnInterfaceIsTheReflectors ) {
   expect( { { { "call", kReactor + "/handleVlanId", { "20" } },
               "refused: would take the pairs on VLAN 20 from br20" },
             { { "call", kReactor + "/handleVlanId", { "99" } },
               "refused: would do nothing: VLAN 99 is not in the set of br10" },
             { { "call", kReactor + "/handleDmac", { kMac + "7" } },
               "refused: would do nothing: 00:00:5e:00:01:07 is not active on br10" },
             { { "call", kReactor + "/handleInitialized", {} },
               "refused: would stop the process unless VLAN set and MACs are of one interface, "
               "and do nothing when they are" },
             { { "call", kReactor + "/doCleanup", {} },
               "refused: would take the pairs of the interface from the hardware while they are "
               "wanted" },
             { { "set", kReactor + "/sviVlanSet", { kSets + "[br20]" } },
               "refused: would leave the pairs of the set before in the table: nothing is "
               "replayed" },
             { { "set", kReactor + "/dmacList", { "libSm/dmacsForIntf[br10]" } },
               "refused: would leave the pairs of the MACs before in the table: nothing is "
               "replayed" },
             { { "set", kReactor + "/initialized", { "false" } }, kUnread },
             { { "call", kReactor + "/hasNotificationActiveIs", { "on=false" } }, kDeaf },
             { { "call", kReactor + "/hasNotificationActiveIs", { "true" } }, kHears },
             { { "call", kReactor + "/quorDoZombieReactors", { "true" } }, kDeaf } } );
}

TEST( Permissions, TheProgrammersOwnStateIsItsOwn ) {
   const std::string splits =
         "refused: would split what the programmer knows from what the hardware holds";
   const Pairs pairs;
   const std::string held = "[" + pairs.held + "]";
   expect(
         { { { "set", "vrrpSm/freeVirtualRouterIndex[7]", { "3" } }, splits },
           { { "set", "vrrpSm/freeVirtualRouterIndexMetadata", { "nextKey 7, count 3" } }, splits },
           { { "set", "vrrpSm/virtualRouterIndex" + held, { "3" } }, splits },
           { { "remove", "vrrpSm/virtualRouterIndex" + held, {} }, splits },
           { { "set", "vrrpSm/macsNeedingVirtualRouterIndex[7]", { pairs.held } }, splits },
           { { "remove", "vrrpSm/macsNeedingVirtualRouterIndex[0]", {} }, splits },
           { { "set", "vrrpSm/macsNeedingVirtualRouterIndexMetadata", { "nextKey 7, count 3" } },
             splits },
           { { "set", "vrrpSm/currentVrrpStateForInit/virtualRouterIndex" + held, { "3" } },
             "refused: would change what the hardware held at the start, which nobody reads "
             "again" },
           { { "set", "vrrpSm/initialized", { "false" } },
             "refused: would stop the process at the next event: its handlers require a start" },
           { { "set", "vrrpSm/initialized", { "true" } },
             "refused: would do nothing: the programmer has started" },
           { { "set", "vrrpSm/vrrpMacStatus", { "virtualRouterMacTable" } },
             "refused: would do nothing: the programmer watches this table already" },
           { { "call", "vrrpSm/handleInitialized", {} },
             "refused: would do nothing: the programmer has started, and starts once" },
           { { "call", "vrrpSm/doAddVirtualRouterMac", { pairs.waiting, "4" } },
             "refused: would write an index of the hardware that the pool counts as free, or "
             "as another's" },
           { { "call", "vrrpSm/doDeleteVirtualRouterMac", { pairs.held, "0" } },
             "refused: would take a pair from the hardware that the programmer counts as "
             "programmed" },
           { { "call", "vrrpSm/doCleanup", {} },
             "refused: would give every index back while the hardware keeps its entries" },
           { { "call", "vrrpSm/hasNotificationActiveIs", { "false" } }, kDeaf },
           { { "call", "vrrpSm/quorDoZombieReactors", { "true" } }, kDeaf } } );
}

TEST( Permissions, PairsThatAreHeldOrWaitAreNotHandledAgain ) {
   const Pairs pairs;
   const auto shown = []( const Pair &pair ) {
      return "VLAN " + valueToStrep( pair.vlanId() ) + "  " + valueToStrep( pair.mac() );
   };
   expect( { { { "call", "vrrpSm/handleVrrpMac", {} },
               "refused: would stop the process: the programmer takes every held pair for a new "
               "one" },
             { { "call", "vrrpSm/handleVrrpMac", { pairs.held } },
               "refused: would stop the process: the programmer takes the held pair " +
                     shown( pairs.system.heldPair() ) + " for a new one" },
             { { "call", "vrrpSm/handleVrrpMac", { "vrrpMac=" + pairs.waiting } },
               "refused: would let " + shown( pairs.system.waitingPair() ) +
                     " wait twice, and stop the process at its second turn" } } );
}

TEST( Permissions, TheHelperIsCalledByTheProgrammerAlone ) {
   const std::string behind = "refused: would write the hardware behind the programmer's back";
   for( const std::string helper : { "vrrpHelper", "vrrpSm/vrrpHelper" } ) {
      expect(
            { { { "call", helper + "/addVirtualRouterMac", { kMac + "1", "10", "4" } }, behind },
              { { "call", helper + "/deleteVirtualRouterMac", { kMac + "1", "10", "0" } }, behind },
              { { "call", helper + "/syncVrrpStateOnInit", { "vrrpSm/currentVrrpStateForInit" } },
                "refused: would read the hardware, and clean it, for a start that is over" },
              { { "call", helper + "/initializationComplete", {} },
                "refused: would tell the helper of a start that is over" },
              { { "set", helper + "/syncCurrentStateOnInit", { "true" } },
                "refused: would make the programmer take pairs for adopted that it has "
                "programmed itself" } } );
   }
}

TEST( Permissions, TheNumberOfIndexesIsConfigured ) {
   const std::string refusal = "refused: would not change the pool of indexes: change the "
                               "configuration and reload";
   expect( { { { "set", "vrrpHwStatus/virtualRouterCount", { "9" } }, refusal },
             { { "set", "vrrpSm/vrrpHwStatus/virtualRouterCount", { "9" } }, refusal } } );
}

TEST( Permissions, WhatIsFixedCannotBeSet ) {
   expect( { { { "set", "vrrpSm/vrrpHelper", { "vrrpHelper" } },
               "refused: vrrpSm/vrrpHelper cannot be set" },
             { { "set", "vrrpSm/currentVrrpStateForInit", { "vrrpSm" } },
               "refused: vrrpSm/currentVrrpStateForInit cannot be set" },
             { { "set", "vrrpHelper/name", { "'x'" } }, "refused: vrrpHelper/name cannot be set" },
             { { "set", kSets + "[br40]", { "libSm" } },
               "refused: " + kSets + "[br40] cannot be set" } } );
}

// The object and the attribute count, not the path

TEST( Permissions, AnObjectIsTheSameOnEveryPathToIt ) {
   const Pairs pairs;
   const std::string detour = kReactor + "/libSm/vlanIntfSm[br10]/libSm";
   expect(
         { { { "set",
               detour + "/virtualRouterMacTableOut/virtualRouterMac[" + pairs.held + "]",
               { "false" } },
             "refused: would stop the process: the programmer takes a held pair whose flag "
             "changes for a new one" },
           { { "call", detour + "/handleInitialized", {} },
             "refused: would empty the table of wanted pairs: every pair would leave the "
             "hardware" },
           { { "set", detour + "/disableCleanupOnRestart", { "true" } }, "done" },
           { { "set", "libSm/intfVlanIdSetTable/sviVlanSet[br10]/vlanId[20]", { "true" } },
             "refused: would share VLAN 20 with br20: a pair that one of them removes is gone "
             "for both" },
           { { "set", "libSm/intfVlanIdSetTable/sviVlanSet[br10]/vlanId[13]", { "true" } },
             "done" },
           { { "set", kReactor + "/sviVlanSet/vlanId[13]", { "true" } },
             kReactor + "/sviVlanSet/vlanId[13]: attempting to modify a const instance" },
           { { "remove", "libSm/virtualRouterMacStatusIn/vrrpVirtualMac[br10," + kMac + "1]", {} },
             "libSm/virtualRouterMacStatusIn/vrrpVirtualMac[br10," + kMac +
                   "1]: attempting to modify a const instance" } } );
}

TEST( Permissions, ObjectsThatTheSystemHasLetGoOfAreNotChanged ) {
   ControlledSystem system;
   const auto harmOf = [&]( const auto &object, const char *name, Quor::AttrOp op, const auto &key,
                            const Ptr<Quor::GenericIf> &value ) {
      const Ptr<Quor::GenericIf> any = genericIf( object );
      return system.permissions->harm( { any, *any->type()->find( name ), op, key, value } );
   };
   const Ptr<Quor::GenericIf> yes = Quor::genericIf( true );
   const auto list = []( const auto &value ) {
      return make<Quor::GenericList>(
            std::vector<Quor::GenericList::Element>{ { "", Quor::genericIf( value ) } } );
   };
   const Ptr<SviVlanSet> stray = make<SviVlanSet>( IntfId( "br10" ) );
   EXPECT_EQ( harmOf( stray, "vlanId", Quor::Op::set, Quor::genericIf( VlanId( 13 ) ), yes ),
              "would change a set that is not in the table of VLAN sets" );
   const auto status = make<Routing::Fhrp::VirtualRouterMacStatus>();
   EXPECT_EQ( harmOf( status, "vrrpVirtualMac", Quor::Op::set,
                      Quor::genericIf( recordOf( "br10", 1 ) ), yes ),
              "would change a table that the reflector does not watch" );
   EXPECT_EQ( harmOf( system.vrrpSm, "vrrpMacStatus", Quor::Op::set, nullptr,
                      genericIf( make<VirtualRouterMacTable>() ) ),
              "would leave in the hardware what only the table before wanted, and stop the "
              "process at the first pair that both want" );
   const auto reactor = system.libSm->vlanIntfSm( IntfId( "br10" ) );
   system.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( harmOf( reactor, "handleVlanId", Quor::Op::get, list( VlanId( 10 ) ), nullptr ),
              "would let a reactor write that the reflector has let go of" );
   reactor->sviVlanSetDel();
   EXPECT_EQ( harmOf( reactor, "handleDmac", Quor::Op::get, list( macOf( 1 ) ), nullptr ),
              "would stop the process: the reactor requires a VLAN set and MACs" );
}

TEST( Permissions, AnInterfaceThatLostItsSetIsNotHandled ) {
   ControlledSystem system;
   system.vlanSets->sviVlanSetDel( IntfId( "br10" ) );
   EXPECT_EQ( outcome( *system.access, { "call", "libSm/handleDmacsForIntf", { "br10" } } ),
              "refused: would fail: the reactor of br10 was made for a VLAN set that is gone" );
   EXPECT_EQ( outcome( *system.access, { "set", kReactor + "/sviVlanSet/vlanId[13]", { "true" } } ),
              "refused: would change a set that is not in the table of VLAN sets" );
   EXPECT_EQ( outcome( *system.access,
                       { "call", "libSm/handleVirtualRouterMac", { "br10," + kMac + "1" } } ),
              "done" )
         << "its MACs are there, nothing is made";
   system.libSm->vlanIntfSmDel( IntfId( "br10" ) );
   EXPECT_EQ( outcome( *system.access, { "call", "libSm/handleDmacsForIntf", { "br10" } } ),
              "refused: would stop the process: the reflector requires a VLAN set for br10" );
}

TEST( Permissions, ARecordThatTheReflectorHasMissedIsNotHandledWithoutAVlanSet ) {
   ControlledSystem system;
   system.status->newVrrpVirtualMac( recordOf( "br99", 1 ), true ); // tells nobody
   EXPECT_EQ( outcome( *system.access,
                       { "call", "libSm/handleVirtualRouterMac", { "br99," + kMac + "1" } } ),
              "refused: would stop the process: the reflector requires a VLAN set for br99" );
}

TEST( Permissions, EveryWritableAttributeAndEveryFunctionHasARule ) {
   const ControlledSystem system;
   for( const char *const path :
        { "virtualRouterMacStatus", "intfVlanIdSetTable", "intfVlanIdSetTable/sviVlanSet[br10]",
          "virtualRouterMacTable", "libSm", "libSm/vlanIntfSm[br10]", "libSm/dmacsForIntf[br10]",
          "vrrpSm", "vrrpSm/currentVrrpStateForInit", "vrrpHelper", "vrrpHwStatus" } ) {
      const Ptr<Quor::GenericIf> object = Path( system.roots(), path ).value();
      for( const Quor::Attribute *const attribute : Path::attributesOf( *object->type() ) ) {
         const bool isFunction = attribute->kind == Quor::AttrKind::function;
         if( !isFunction && !attribute->isWritable && !attribute->iterate ) {
            continue;
         }
         const Ptr<Quor::GenericIf> noArguments = make<Quor::GenericList>();
         EXPECT_NE( system.permissions->harm( { object, *attribute,
                                                isFunction ? Quor::Op::get : Quor::Op::remove,
                                                isFunction ? noArguments : nullptr, nullptr } ),
                    "would do what no rule allows" )
               << path << " " << attribute->name;
      }
   }
}

// What is said to stop the process does

/// Lets everything through.
class NoGuard : public ChangeGuard {
 public:
   std::string harm( const Change & ) const override { return {}; }
};

void obey( const std::vector<Command> &commands ) {
   const ControlledSystem system;
   const NoGuard guard;
   const PathAccess access( system.roots(), guard );
   for( const Command &command : commands ) {
      outcome( access, command );
   }
}

TEST( PermissionsDeathTest, WhatIsSaidToStopTheProcessStopsIt ) {
   const Pairs pairs;
   const Command free{ "remove", kSets + "[br10]/vlanId[12]", {} }; // an index, for the next pair
   const Command freeMore{ "remove", kSets + "[br10]/vlanId[11]", {} };
   // Its indexes go to the pair that waits, at both of its turns.
   const bool isOfFirst = pairs.system.waitingPair().mac() == macOf( 1 );
   const Command freeThree{ "remove", kStatus + "[br10," + kMac + ( isOfFirst ? "2]" : "1]" ), {} };
   const std::string other = "99," + kMac + "1";
   const std::string held = "10," + kMac + "1";
   const std::vector<std::vector<Command>> stories{
         { { "set", kStatus + "[br99," + kMac + "1]", { "true" } } },
         { { "remove", kSets + "[br20]", {} },
           { "set", kStatus + "[br20," + kMac + "1]", { "true" } } },
         { free, { "set", kTable + "[" + held + "]", { "false" } } },
         { { "set", kTable + "[" + pairs.waiting + "]", { "false" } }, freeThree },
         { free,
           freeMore,
           { "set", kTable + "[" + other + "]", { "false" } },
           { "set", kTable + "[" + other + "]", { "true" } } },
         { free, { "call", "vrrpSm/handleVrrpMac", {} } },
         { free, { "call", "vrrpSm/handleVrrpMac", { held } } },
         { { "call", "vrrpSm/handleVrrpMac", { pairs.waiting } }, freeThree },
         { { "set", "vrrpSm/initialized", { "false" } }, free } };
   for( const std::vector<Command> &story : stories ) {
      EXPECT_DEATH( obey( story ), "Assertion" ) << story.back().path;
   }
}

} // namespace
} // namespace OrloAgent
