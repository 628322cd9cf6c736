// A good helper for a FakeTable: what wrong ones are made of.
#ifndef TESTS_UNIT_CONFORMANCE_FAKEHELPER_H
#define TESTS_UNIT_CONFORMANCE_FAKEHELPER_H

#include "OrloVrrpHelper/RetryingHelper.h"
#include "tests/unit/conformance/FakeTable.h"

namespace ConformanceTests {

using OrloHelper::HelperSettings;
using State = Quor::Ptr<OrloHelper::CurrentVrrpStateForInit>;

class FakeHelper : public OrloHelper::RetryingHelper {
 public:
   FakeHelper( FakeTable &table, const HelperSettings &settings )
         : RetryingHelper( "fake", settings ), table_( table ) {
      syncCurrentStateOnInitIs( true );
   }

   std::vector<Entry> readAll() const override {
      std::vector<Entry> entries;
      for( const auto &[index, pair] : table_.slots ) {
         entries.push_back( { pair, index } );
      }
      return entries;
   }

 protected:
   void add( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( table_.refuses ) {
            write.refusal = "the table takes nothing";
         } else {
            table_.slots[write.index] = write.pair;
         }
      }
   }
   void remove( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( !table_.holds( write.index, write.pair ) ) {
            continue;
         }
         if( table_.refusesRemovals ) {
            write.refusal = "the table keeps what it has";
         } else {
            table_.slots.erase( write.index );
         }
      }
   }

   FakeTable &table_;
};

} // namespace ConformanceTests

#endif
