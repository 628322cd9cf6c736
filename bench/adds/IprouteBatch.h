// What an administrator's script would do.
#ifndef ORLOBENCH_ADDS_IPROUTEBATCH_H
#define ORLOBENCH_ADDS_IPROUTEBATCH_H

#include "bench/adds/BridgeTables.h"

namespace OrloBench {

/// One run of bridge(8) with a file of commands that has been written before. FDB entries only.
class IprouteBatch final : public Way {
 public:
   /// `job` must outlive this object.
   explicit IprouteBatch( const Job &job );

   void add() override { run( "/add" ); }
   void remove() override { run( "/remove" ); }
   std::vector<Pair> held() override { return tables_.pairs(); }

 private:
   void run( const char *file ) const;

   const Job &job_;
   const BridgeTables tables_;
};

} // namespace OrloBench

#endif
