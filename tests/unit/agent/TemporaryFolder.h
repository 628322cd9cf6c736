// A folder of a test's own, gone with it.
#ifndef TESTS_UNIT_AGENT_TEMPORARYFOLDER_H
#define TESTS_UNIT_AGENT_TEMPORARYFOLDER_H

#include <cstdlib>
#include <filesystem>
#include <string>

namespace OrloAgent {

class TemporaryFolder {
 public:
   TemporaryFolder() {
      std::string name = std::filesystem::temp_directory_path() / "orlo-agent-XXXXXX";
      path_ = mkdtemp( name.data() );
   }
   ~TemporaryFolder() { std::filesystem::remove_all( path_ ); }
   TemporaryFolder( const TemporaryFolder & ) = delete;
   TemporaryFolder &operator=( const TemporaryFolder & ) = delete;

   std::string path( const std::string &name ) const { return path_ + "/" + name; }

 private:
   std::string path_;
};

} // namespace OrloAgent

#endif
