// Words for people.
#ifndef ORLOAGENT_TEXT_H
#define ORLOAGENT_TEXT_H

#include "quor/Types.h"

#include <string>

namespace OrloAgent {

/// "1 index", "5 indexes".
inline std::string counted( Quor::U64 count, const char *one, const char *many ) {
   return std::to_string( count ) + " " + ( count == 1 ? one : many );
}

} // namespace OrloAgent

#endif
