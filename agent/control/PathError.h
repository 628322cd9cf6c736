// What goes wrong in access by path.
#ifndef ORLOAGENT_CONTROL_PATHERROR_H
#define ORLOAGENT_CONTROL_PATHERROR_H

#include <stdexcept>
#include <string>

namespace OrloAgent {

/// what() is one line for people: what, where, and the nearest name that there is. Nothing was
/// changed, unless what() is an error of the attribute's own code.
class PathError : public std::runtime_error {
 public:
   enum class Kind { wrong, refused };

   explicit PathError( const std::string &what, Kind kind = Kind::wrong )
         : runtime_error( what ), kind_( kind ) {}

   /// The path is right, but its change would do harm.
   bool isRefusal() const noexcept { return kind_ == Kind::refused; }

 private:
   Kind kind_;
};

} // namespace OrloAgent

#endif
