#include "agent/control/AuditAnswer.h"

#include "agent/control/Refusals.h"
#include "agent/control/Rows.h"

#include <algorithm>

namespace OrloAgent {

namespace {

using Json = nlohmann::json;
using Kind = Audit::Kind;
using Quor::U32;
using Quor::U64;

struct Row {
   Audit::Difference difference;
   bool isRepaired;
};

const char *nameOf( Kind kind ) {
   switch( kind ) {
   case Kind::missing:
      return "missing";
   case Kind::extra:
      return "extra";
   case Kind::wrongIndex:
      return "wrong index";
   case Kind::twice:
      return "twice";
   case Kind::forgotten:
      return "forgotten";
   case Kind::unwanted:
      return "unwanted";
   case Kind::idle:
      break;
   }
   return "idle";
}

const char *wordsFor( const Audit::Difference &difference, bool hasProgrammer ) {
   switch( difference.kind ) {
   case Kind::missing:
      return hasProgrammer ? "the hardware has lost it"
                           : "an index is free: a start of the agent programs it";
   case Kind::extra:
      return hasProgrammer ? "the programmer has not given it an index" : "nobody wants it";
   case Kind::wrongIndex:
      return difference.held ? "the index is not the pair's own"
                             : "the hardware does not tell its index";
   case Kind::twice:
      return "one entry of the pair is enough";
   case Kind::forgotten:
      return "wanted, has no index and does not wait: restart the agent";
   case Kind::unwanted:
      return "not in the table of what is wanted: restart the agent";
   case Kind::idle:
      break;
   }
   return "waits although an index is free: restart the agent";
}

Answer answer( const Audit &audit, U32 indexes, std::vector<Row> rows, const Refusals *refusals ) {
   const bool hasProgrammer = audit.assigned().has_value();
   std::map<Pair, std::string> refused;
   for( const Row &row : rows ) {
      const Refusals::Refusal *const refusal =
            refusals ? refusals->of( row.difference.pair ) : nullptr;
      if( refusal && !row.isRepaired ) {
         refused.emplace( row.difference.pair, Refusals::text( *refusal ) );
      }
   }
   const auto fill = [hasProgrammer, refused]( Json &row, const Row &one ) {
      const auto refusal = refused.find( one.difference.pair );
      row["what"] = nameOf( one.difference.kind );
      put( row, one.difference.pair );
      row["assigned"] = valueOrNull( one.difference.assigned );
      row["held"] = valueOrNull( one.difference.held );
      row["why"] = refusal == refused.end() || one.isRepaired
                         ? wordsFor( one.difference, hasProgrammer )
                         : refusal->second;
      row["repaired"] = one.isRepaired;
   };
   Answer answer = answerOf( "differences", std::move( rows ), fill );
   answer.result.update( { { "agent", hasProgrammer },
                           { "wanted", audit.wanted() },
                           { "assigned", valueOrNull( audit.assigned() ) },
                           { "waiting", valueOrNull( audit.waiting() ) },
                           { "held", audit.held() },
                           { "indexes", indexes },
                           { "repaired", nullptr },
                           { "writes", nullptr },
                           { "left", audit.differences().size() } } );
   return answer;
}

std::vector<Row> rowsOf( const Audit &audit ) {
   std::vector<Row> rows;
   for( const Audit::Difference &difference : audit.differences() ) {
      rows.push_back( { difference, false } );
   }
   return rows;
}

/// What was repaired, and what is left.
std::vector<Row> rowsOf( const Audit &before, const Audit &after ) {
   std::vector<Row> rows;
   for( const Audit::Difference &difference : before.differences() ) {
      const auto &left = after.differences();
      if( !std::binary_search( left.begin(), left.end(), difference, &Audit::isBefore ) ) {
         rows.push_back( { difference, true } );
      }
   }
   const std::vector<Row> left = rowsOf( after );
   rows.insert( rows.end(), left.begin(), left.end() );
   return rows;
}

[[noreturn]] void fail( const std::string &why ) {
   throw ControlError( ControlError::Kind::failed, why );
}

} // namespace

Answer auditAnswer( Agent &agent, bool isToRepair ) {
   Programming &programming = agent.programming();
   if( !programming.isRunning() ) {
      fail( "the agent is not ready: it does not know the kernel's state yet" );
   }
   const OrloHelper::HardwareView *const view = programming.view();
   if( !view ) {
      fail( "there is no audit of this hardware: its helper cannot read it back" );
   }
   if( isToRepair && !programming.canRepair() ) {
      fail( "the helper of this hardware has no repair: restart the agent, which adopts what is "
            "right and programs the rest" );
   }
   try {
      if( isToRepair ) {
         agent.work(); // hears what has happened to the hardware: it may have to be made readable
      }
      const Audit before = programming.audit();
      if( !isToRepair ) {
         const Refusals refusals( programming );
         return answer( before, programming.indexes(), rowsOf( before ), &refusals );
      }
      const U64 writes = view->writes();
      programming.repair();
      agent.work(); // tells what has come of it
      const Audit after = programming.audit();
      std::vector<Row> rows = rowsOf( before, after );
      const std::size_t repaired = rows.size() - after.differences().size();
      const Refusals refusals( programming );
      Answer all = answer( after, programming.indexes(), std::move( rows ), &refusals );
      all.result["repaired"] = repaired;
      all.result["writes"] = view->writes() - writes;
      return all;
   } catch( const ControlError & ) {
      throw;
   } catch( const std::exception &error ) { // the hardware cannot be read
      fail( error.what() );
   } catch( ... ) {
      fail( "the helper cannot read its hardware, and does not say why" );
   }
}

Answer auditAnswer( const Audit &audit, U32 indexes ) {
   return answer( audit, indexes, rowsOf( audit ), nullptr );
}

} // namespace OrloAgent
