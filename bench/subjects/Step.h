// One thing that is done to a subject.
#ifndef ORLOBENCH_SUBJECTS_STEP_H
#define ORLOBENCH_SUBJECTS_STEP_H

#include "bench/subjects/Values.h"

namespace OrloBench {

struct Step {
   enum class Kind {
      vlanJoins,
      vlanLeaves,
      publish,
      withdraw,
      want,
      unwant,
      wait,
      handle,
      tearDown
   };
   Kind kind;
   VlanAndMac pair; ///< or only its VLAN, or only its MAC

   template <class Subject>
   void doTo( Subject &subject ) const {
      switch( kind ) {
      case Kind::vlanJoins:
         return subject.vlanJoins( pair.vlanId() );
      case Kind::vlanLeaves:
         return subject.vlanLeaves( pair.vlanId() );
      case Kind::publish:
         return subject.publish( pair.mac() );
      case Kind::withdraw:
         return subject.withdraw( pair.mac() );
      case Kind::want:
         return subject.want( pair );
      case Kind::unwant:
         return subject.unwant( pair );
      case Kind::wait:
         return subject.wait( pair );
      case Kind::handle:
         return subject.handle( pair );
      case Kind::tearDown:
         return subject.tearDown();
      }
   }
};

} // namespace OrloBench

#endif
