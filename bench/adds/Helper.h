// A hardware helper, loaded and worked as the agent does it.
#ifndef ORLOBENCH_ADDS_HELPER_H
#define ORLOBENCH_ADDS_HELPER_H

#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/HardwareWork.h"
#include "agent/Library.h"
#include "bench/adds/Way.h"

#include <map>

namespace OrloBench {

class Helper final : public Way {
 public:
   /// The module of this name, with settings that fit what the namespace has. `job` must outlive
   /// this object.
   Helper( const std::string &name, const Job &job );

   void add() override;
   void remove() override;
   void settle() override;
   std::vector<Pair> held() override;

 private:
   void confirmed( bool isAdded ) const;

   const Job &job_;
   const OrloAgent::PluginLibrary plugin_;
   const OrloAgent::HelperLibrary module_;
   Quor::Ptr<OrloHelper::VrrpSmHelper> helper_;
   const OrloHelper::HardwareView *view_; // a part of the helper
   OrloHelper::HardwareWork *work_;       // so is this
};

} // namespace OrloBench

#endif
