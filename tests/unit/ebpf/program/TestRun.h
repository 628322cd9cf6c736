// The program of the ports run on frames without a device (BPF_PROG_TEST_RUN).
#ifndef TESTS_UNIT_EBPF_PROGRAM_TESTRUN_H
#define TESTS_UNIT_EBPF_PROGRAM_TESTRUN_H

#include "agent/hardware/ebpf/program/PortProgram.h"
#include "quor/Types.h"

#include <initializer_list>
#include <string>
#include <vector>

struct tagged_object;

namespace OrloAgent {

struct Tag {
   Quor::U16 etherType;
   Quor::U16 control; ///< priority, drop eligibility, VLAN
};

/// Owns the program that puts the tags on. Every frame comes in at the interface with index 1, the
/// one that every network namespace has.
class TestRun {
 public:
   /// Throws std::system_error.
   explicit TestRun( const PortProgram &program );
   ~TestRun();
   TestRun( const TestRun & ) = delete;
   TestRun &operator=( const TestRun & ) = delete;

   /// What the program answers for a frame with these tags, from the inside out. `joined` frames
   /// of one flow, when more than 0. Throws std::system_error.
   struct Answer {
      int action;
      std::vector<Quor::U8> frame; ///< as the program left it, without its outer tag
      Quor::U32 priority;          ///< of the packet, linux/pkt_sched.h
   };
   Answer answer( const std::vector<Quor::U8> &frame, const std::vector<Tag> &tags,
                  Quor::U32 joined = 0 ) const;

 private:
   tagged_object *object_;
};

} // namespace OrloAgent

#endif
