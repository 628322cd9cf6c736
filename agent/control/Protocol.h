// What goes over the agent's control socket, as far as both ends must agree on it.
//
// Lines of JSON. The client sends one request a line and reads until its answer is complete:
//
//    > {"schema":1,"id":7,"command":"show pairs","arguments":{"vlan":10}}
//    < {"schema":1,"id":7,"rows":[{...},{...}]}                       any number of these, then
//    < {"schema":1,"id":7,"result":{"total":2,"rowsName":"pairs"}}    this,
//    < {"schema":1,"id":7,"error":{"kind":"no","message":"..."}}      or this
//
// "rowsName" says under which name the rows belong into the result; without it there are none.
// "id" is null in the answer to what is no request. A command that follows is answered at once and
// then sends events until the client goes:
//
//    < {"schema":1,"id":7,"result":{"following":true}}
//    < {"schema":1,"id":7,"sequence":1,"event":{...}}
//    < {"schema":1,"id":7,"sequence":4,"lost":3}         2, 3 and 4 did not fit: too slow a reader
//    < {"schema":1,"id":7,"sequence":5,"event":{...}}
#ifndef ORLOAGENT_CONTROL_PROTOCOL_H
#define ORLOAGENT_CONTROL_PROTOCOL_H

#include <chrono>
#include <cstddef>

namespace OrloAgent {

/// Constants; no objects. Needs nothing else of the agent.
struct Protocol {
   static constexpr int schema = 1;
   static constexpr const char *defaultPath = "/run/orlo/control";
   /// Bytes of a request without the end of its line; after a longer one the connection is closed.
   static constexpr std::size_t longestRequest = std::size_t{ 64 } * 1024;
   /// A line of rows ends at whichever comes first. One row that is longer stands alone.
   static constexpr std::size_t rowsOfLine = 200;
   static constexpr std::size_t bytesOfRows = std::size_t{ 64 } * 1024;
   /// What the agent holds for a client that does not read; no line is longer.
   static constexpr std::size_t mostOutput = std::size_t{ 256 } * 1024;
   static constexpr std::size_t mostClients = 64;
   /// Of these, only for root and the agent's own user: whatever the group's members do, these two
   /// get in.
   static constexpr std::size_t reservedClients = 8;
   /// For a request to come as a whole, counted from the end of the answer before; and for some of
   /// an answer to be taken. Who follows may be silent for ever. After it an error is sent, and the
   /// connection is closed.
   static constexpr std::chrono::seconds patience{ 60 };

   enum class ErrorKind {
      usage,   ///< the request is wrong: unknown command, bad argument
      refused, ///< this client may not
      no,      ///< the request is good, the answer is negative: there is no such thing
      failed,  ///< the agent tried and could not
      busy     ///< too many clients; sent once, instead of reading anything
   };
   static constexpr const char *nameOf( ErrorKind kind ) noexcept {
      switch( kind ) {
      case ErrorKind::usage:
         return "usage";
      case ErrorKind::refused:
         return "refused";
      case ErrorKind::no:
         return "no";
      case ErrorKind::failed:
         return "failed";
      case ErrorKind::busy:
         break;
      }
      return "busy";
   }
};

} // namespace OrloAgent

#endif
