// A switch with its agent, whose hardware can say no as well, for a test.
#ifndef TESTS_UNIT_AGENT_AGENTONFAKEKERNEL_H
#define TESTS_UNIT_AGENT_AGENTONFAKEKERNEL_H

#include "tests/unit/agent/SwitchWithAgent.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace OrloAgent {

class AgentOnFakeKernel : public testing::Test, protected SwitchWithAgent {
 protected:
   /// Hardware that says no while a file is there: see hardwareIs().
   Configuration stubborn( Quor::U32 indexes ) const {
      Configuration stubborn = configuration( indexes );
      stubborn.hardware = {
            "module", indexes, STUBBORN_HELPER, { { "device", folder_.path( "" ) } } };
      for( const char *const what : { "full", "keeps", "broken", "lossy" } ) {
         stubborn.hardware.settings[what] = folder_.path( what );
      }
      return stubborn;
   }
   /// The stubborn hardware is "full", "keeps" what it has, is "broken", is "lossy" with its news,
   /// or is not any more.
   void hardwareIs( const char *what, bool is = true ) {
      is ? void( std::ofstream( folder_.path( what ) ) )
         : void( std::filesystem::remove( folder_.path( what ) ) );
   }
};

} // namespace OrloAgent

#endif
