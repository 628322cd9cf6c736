#include "agent/input/KernelReading.h"

#include <stdexcept>

namespace OrloAgent {

namespace {

/// Ends the loop when everything has been told.
class Reader final : public KernelWatcher {
 public:
   Reader( EventLoop &loop, const std::set<Pelmo::IntfId> &svis )
         : loop_( loop ), devices_( svis ) {}

   void onLink( const Link &link ) override { devices_.linkIs( link ); }
   void onLinkGone( IfIndex ifindex ) override { devices_.linkDel( ifindex ); }
   void onAddress( const Address &address ) override { devices_.addressIs( address ); }
   void onAddressGone( const Address &address ) override { devices_.addressDel( address ); }
   void onReadingAll() override {
      isComplete_ = false;
      devices_.readingBegins();
   }
   void onReadAll() override {
      devices_.readingEnds();
      isComplete_ = true;
   }
   void onOverrun() override { isComplete_ = false; }
   void onQuiet() override {
      if( isComplete_ ) {
         loop_.stop();
      }
   }
   void onTrouble( const std::string &what ) override { trouble_ = what; }

   bool isComplete() const noexcept { return isComplete_; }
   const std::string &trouble() const noexcept { return trouble_; }
   std::vector<Verdict> verdicts() const { return devices_.verdicts(); }

 private:
   EventLoop &loop_;
   Devices devices_;
   bool isComplete_ = false;
   std::string trouble_;
};

} // namespace

std::vector<Verdict> readKernel( EventLoop &loop, Kernel &kernel,
                                 const std::set<Pelmo::IntfId> &svis,
                                 std::chrono::milliseconds limit ) {
   Reader reader( loop, svis );
   const auto tooLate = loop.after( limit, [&loop] { loop.stop(); } );
   kernel.start( reader );
   loop.run();
   kernel.stop();
   if( !reader.isComplete() ) {
      throw std::runtime_error( "the kernel has not told all its links and addresses in time" +
                                ( reader.trouble().empty() ? "" : ": " + reader.trouble() ) );
   }
   return reader.verdicts();
}

} // namespace OrloAgent
