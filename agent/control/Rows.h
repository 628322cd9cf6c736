// The pieces of which the answers about pairs are made.
#ifndef ORLOAGENT_CONTROL_ROWS_H
#define ORLOAGENT_CONTROL_ROWS_H

#include "agent/Clock.h"
#include "agent/Pair.h"
#include "agent/control/ControlHandler.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace OrloAgent {

inline nlohmann::json timeOrNull( const std::optional<Time> &time ) {
   return time ? nlohmann::json( timeText( *time ) ) : nlohmann::json();
}

template <class V>
nlohmann::json valueOrNull( const std::optional<V> &value ) {
   return value ? nlohmann::json( *value ) : nlohmann::json();
}

inline void put( nlohmann::json &row, const Pair &pair ) {
   row["vlan"] = pair.vlanId().number();
   row["mac"] = valueToStrep( pair.mac() );
}

/// An answer with a row for each element, made when it is asked for.
template <class Element, class Fill>
Answer answerOf( const char *name, std::vector<Element> elements, const Fill &fill ) {
   const auto all = std::make_shared<const std::vector<Element>>( std::move( elements ) );
   Answer answer;
   answer.rowsName = name;
   answer.result["total"] = all->size();
   answer.nextRow = [all, fill, at = std::size_t{ 0 }]( nlohmann::json &row ) mutable {
      if( at == all->size() ) {
         return false;
      }
      row = nlohmann::json::object();
      fill( row, ( *all )[at++] );
      return true;
   };
   return answer;
}

} // namespace OrloAgent

#endif
