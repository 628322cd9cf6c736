// The hardware helper for the ebpf hardware: the kernel of the switch itself forwards, by a program
// at its ports that looks up VLAN and destination of every frame.
#ifndef ORLOAGENT_HARDWARE_EBPF_EBPFHELPER_H
#define ORLOAGENT_HARDWARE_EBPF_EBPFHELPER_H

#include "OrloVrrpHelper/RetryingHelper.h"
#include "agent/hardware/ebpf/EbpfKernel.h"
#include "agent/hardware/ebpf/EbpfSettings.h"
#include "agent/hardware/ebpf/SwitchPorts.h"

#include <array>
#include <memory>

namespace OrloAgent {

/// Keeps the program's table of virtual router MACs, with the SVI of each pair's primary VLAN in
/// its row, and the ports in service. A pair whose SVI is not there is refused until it comes; a
/// row whose SVI has become another device is written again.
class EbpfHelper final : public OrloHelper::RetryingHelper {
 public:
   /// Puts the ports into service, and asks for adoption of what the table holds.
   EbpfHelper( std::unique_ptr<EbpfKernel> kernel, const EbpfSettings &own,
               const OrloHelper::HelperSettings &settings );

   int fd() const override { return kernel_->fd(); }
   Time work( Time now ) override;
   void interfacesAre( const std::vector<OrloHelper::RoutedInterface> &interfaces ) override;
   void repair() override;
   void leave() override;
   std::vector<Entry> readAll() const override;
   void syncVrrpStateOnInit(
         const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &currentStatePtr ) override;

 protected:
   void remove( std::span<Write> writes ) override;
   void add( std::span<Write> writes ) override;
   void hear() override;

 private:
   static constexpr std::size_t kVlans = 4096; // IEEE 802.1Q

   using Found = std::optional<VlanAndMac>;

   struct Svi {
      std::string name;
      Quor::U32 ifindex; // 0: there is none of that name
   };

   /// Null when no interface routes the VLAN.
   const Svi *sviOf( Bridging::VlanId vlan ) const;
   /// The rows of those whose SVI is another one than is written there are written again.
   void sviRows();
   /// Which SVI stands in each row. Throws std::runtime_error.
   void readSvis();
   void tryToReadSvis();
   std::vector<Found> readFor( std::size_t count ) const;
   bool hasRow( const Write &write ) const;
   void removeRows( std::span<Write> writes, const std::vector<Found> &found );
   void addRows( std::span<Write> writes );

   const std::unique_ptr<EbpfKernel> kernel_;
   const std::size_t batch_;
   std::vector<Svi> svis_;
   std::array<Quor::U16, kVlans> sviAt_{}; // by VLAN: the place in svis_, from 1
   std::vector<Quor::U32> written_;        // by index: the SVI last written in its row; 0 for none
   bool mustReadSvis_ = false;             // what stands in the rows could not be read
   SwitchPorts ports_;
};

} // namespace OrloAgent

#endif
