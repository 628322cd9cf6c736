// Hardware that remembers what it was asked for.
#ifndef ORLOBENCH_SUBJECTS_RECORDINGHELPER_H
#define ORLOBENCH_SUBJECTS_RECORDINGHELPER_H

#include "bench/subjects/BenchHelper.h"

#include <string>

namespace OrloBench {

class RecordingHelper : public BenchHelper {
 public:
   RecordingHelper() : BenchHelper( "recording" ) {}

   void addVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      called( "add", mac, vlanId, index );
   }
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      called( "delete", mac, vlanId, index );
   }
   /// A line each: "add 00:00:5e:00:01:0a on VLAN 10 at 3".
   const std::vector<std::string> &calls() const noexcept { return calls_; }
   /// Something else that is to be compared.
   void tell( std::string line ) { calls_.push_back( std::move( line ) ); }

 private:
   void called( const char *what, const EthAddr &mac, U32 vlanId, U32 index ) {
      calls_.push_back( std::string( what ) + ' ' + valueToStrep( mac ) + " on VLAN " +
                        std::to_string( vlanId ) + " at " + std::to_string( index ) );
   }

   std::vector<std::string> calls_;
};

} // namespace OrloBench

#endif
