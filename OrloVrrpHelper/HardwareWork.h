// What a helper does between the calls of the programmer.
#ifndef ORLOVRRPHELPER_HARDWAREWORK_H
#define ORLOVRRPHELPER_HARDWAREWORK_H

#include "OrloVrrpHelper/HelperSettings.h"

#include <chrono>
#include <vector>

namespace OrloHelper {

/// A helper that derives from it beside VrrpSmHelper is worked by the agent's event loop: it may
/// gather what one event asks of it and write it in one go, wait for answers, try again later, and
/// listen to its hardware. All calls come on the agent's thread, and none of them blocks or throws,
/// but where it is said.
class HardwareWork {
 public:
   using Time = std::chrono::steady_clock::time_point;
   static constexpr Time kNever = Time::max();

   /// Becomes readable when there is something to do (an epoll(7) descriptor when there are several
   /// sources); -1: never. The same for as long as the helper lives.
   virtual int fd() const { return -1; }
   /// Does everything that can be done at `now`. Called from the programmer's start on: at the end
   /// of each event in which the helper was called, when fd() is readable, and at the time that it
   /// gave. Gives when it wants to be called again at the latest.
   virtual Time work( Time now ) = 0;
   /// The SVIs are these from now on. Called before the programmer asks for the pairs that follow
   /// from it; pairs that stay are not asked for again, whatever their SVI is now.
   virtual void interfacesAre( const std::vector<RoutedInterface> & /*interfaces*/ ) {}
   /// Reads the whole hardware and does at the next work() what makes it as it was asked to be, and
   /// nothing else. Throws std::runtime_error when it cannot be read.
   virtual void repair() = 0;
   /// The hardware holds no pair any more, and nothing else of ours is to be left there either. The
   /// helper is not asked for anything after that. Throws std::runtime_error when something stays.
   virtual void leave() {}

 protected:
   ~HardwareWork() = default;
};

} // namespace OrloHelper

#endif
