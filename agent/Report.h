// What the agent says on standard output: a line for every change, and the table.
#ifndef ORLOAGENT_REPORT_H
#define ORLOAGENT_REPORT_H

#include "agent/Assignments.h"
#include "pelmo/IntfId.h"
#include "platform/VirtualRouterMac.h"
#include "quor/Types.h"

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace OrloAgent {

/// One line of the table.
struct TableRow {
   Pair pair;
   Pelmo::IntfId intf;             ///< the VLAN's interface; empty when the VLAN has none
   std::optional<Quor::U32> index; ///< the hardware slot
   std::optional<Quor::U32> place; ///< in the line of those that wait; 1 is next
   bool wanted = false;
   bool programmed = false; ///< the hardware has it, as read from there
};

/// The whole table, with what its last line counts.
struct TableOfPairs {
   std::vector<TableRow> rows;
   Quor::U32 waiting = 0;
   Quor::U32 indexesUsed = 0;
   Quor::U32 indexes = 0;
};

/// Writes whole lines to a stream that is not its own. First word: what happened; scripts may rely
/// on it.
class Report {
 public:
   using Record = Routing::Fhrp::VirtualRouterMac;

   /// What a line is about, for programs: names in capitals, such as VLAN.
   using Fields = std::vector<std::pair<std::string, std::string>>;
   /// Takes the line of a change instead of the stream.
   using Journal = std::function<void( const std::string &line, const Fields &fields )>;

   explicit Report( std::ostream &out, Journal journal = {} )
         : out_( out ), journal_( std::move( journal ) ) {}

   /// The start-up pass is over: `adopted` pairs were in the hardware and stay, `programmed` ones
   /// are new.
   void ready( Quor::U32 indexes, Quor::U64 adopted, Quor::U64 programmed, Quor::U64 waiting );
   void published( const Record &record, const std::string &device );
   void withdrawn( const Record &record, const std::string &device, const std::string &reason );
   void changed( const PairChange &change );
   /// The hardware has not done this change, and is asked again.
   void refused( const PairChange &change, const std::string &reason );
   /// The last free index has gone. Once, until there is a free one again.
   void full( Quor::U32 indexes );
   /// Nobody waits any more.
   void relieved();
   void reloaded( const std::vector<std::string> &changes );
   void overrun();

   /// Sorts the rows by VLAN, then by MAC.
   void table( TableOfPairs table );

 private:
   void pairLine( const char *what, const Pair &pair, const std::string &rest, Fields fields = {} );
   void recordLine( const char *what, const Record &record, const std::string &rest,
                    const std::string &device );
   void line( const char *what, const std::string &rest, Fields fields = {} );

   std::ostream &out_;
   const Journal journal_;
};

} // namespace OrloAgent

#endif
