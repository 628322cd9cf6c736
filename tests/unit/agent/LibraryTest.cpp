// Libraries that cannot be used: which, why, and what to do.
#include "agent/Library.h"
#include "tests/unit/agent/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>

namespace OrloAgent {
namespace {

template <class Action>
std::string whyNot( const Action &action ) {
   try {
      action();
   } catch( const LibraryError &error ) {
      return error.what();
   }
   return "";
}

std::string whyNoPlugin( const std::string &path ) {
   return whyNot( [&] { const PluginLibrary library( path ); } );
}

std::string whyNoHelper( const std::map<std::string, std::string> &settings ) {
   const PluginLibrary plugin( PluginLibrary::kDefaultPath );
   const HelperLibrary module( BLIND_HELPER );
   return whyNot( [&] { module.make( { 4, settings } ); } );
}

const std::string kIsItRight = "is the path in \"plugin\" of the configuration right?";

TEST( PluginLibrary, IsFoundByItsNameAndTellsItsVersion ) {
   const PluginLibrary library( PluginLibrary::kDefaultPath );
   EXPECT_EQ( library->abi, Orlo::Plugin::kAbi );
   EXPECT_STREQ( library->version, "0.1" );
}

TEST( PluginLibrary, AFileThatIsMissing ) {
   EXPECT_EQ( whyNoPlugin( "/nowhere/plugin.so" ),
              "cannot load the plug-in /nowhere/plugin.so: /nowhere/plugin.so: cannot open shared "
              "object file: No such file or directory; " +
                    kIsItRight );
}

TEST( PluginLibrary, AFileThatIsNoLibrary ) {
   const TemporaryFolder folder;
   const std::string path = folder.path( "text.so" );
   std::ofstream( path )
         << "This is a text, and a long one, so that it could be a header of some library.";
   EXPECT_EQ( whyNoPlugin( path ), "cannot load the plug-in " + path + ": " + path +
                                         ": invalid ELF header; " + kIsItRight );
}

TEST( PluginLibrary, ALibraryThatIsNoPlugin ) {
   EXPECT_EQ( whyNoPlugin( NO_RECORD ),
              NO_RECORD " is not the plug-in: it has no orloVrrpPlugin; " + kIsItRight );
}

TEST( PluginLibrary, AnotherVersionIsToldWithBothNumbers ) {
   EXPECT_EQ( whyNoPlugin( OTHER_ABI ),
              "the plug-in " OTHER_ABI " is of another version: its interface is 999 (9.9), "
              "this agent needs 1; install the plug-in that belongs to this agent" );
}

TEST( HelperLibrary, MakesTheHelper ) {
   const PluginLibrary plugin( PluginLibrary::kDefaultPath );
   const HelperLibrary module( BLIND_HELPER );
   EXPECT_EQ( module.make( { .indexes = 4 } )->name(), Quor::Name( "blind" ) );
}

TEST( HelperLibrary, AFileThatIsMissing ) {
   EXPECT_EQ(
         whyNot( [] { const HelperLibrary module( "/nowhere/chip.so" ); } ),
         "cannot load the helper module /nowhere/chip.so: /nowhere/chip.so: cannot open shared "
         "object file: No such file or directory; is the hardware in the configuration right, "
         "and was the module built for this version?" );
}

TEST( HelperLibrary, ALibraryWithoutTheFunction ) {
   EXPECT_EQ( whyNot( [] { const HelperLibrary module( NO_RECORD ); } ),
              NO_RECORD " is not a helper module: it has no orloHelperNew" );
}

TEST( HelperLibrary, WhatItThrowsIsTheReason ) {
   EXPECT_EQ( whyNoHelper( { { "throws", "there is no /dev/chip0" } } ), "there is no /dev/chip0" );
   EXPECT_EQ( whyNoHelper( { { "throws something", "" } } ),
              "the helper module " BLIND_HELPER " threw something that is no exception" );
}

TEST( HelperLibrary, ThatMakesNothing ) {
   EXPECT_EQ( whyNoHelper( { { "nothing", "" } } ),
              "the helper module " BLIND_HELPER " made no helper" );
}

} // namespace
} // namespace OrloAgent
