#include "tests/simulator/Hardware.h"

#include <stdexcept>

namespace Simulator {

std::string text( const Pair &pair ) {
   return valueToStrep( pair.vlanId() ) + "/" + valueToStrep( pair.mac() );
}

void Hardware::forgetExcuses() {
   excused_.clear();
   isAllExcused_ = false;
}

void Hardware::needsLife() const {
   if( isDead() ) {
      throw std::runtime_error( "dead" );
   }
}

void Hardware::wrote( const Change &change, const std::string &how ) {
   ++writes_;
   changes_.push_back( change );
   trace_.line( "hardware: " + std::to_string( change.index ) + ( change.isAdd ? " = " : " no " ) +
                text( change.pair ) + how );
   onWrite();
   if( left_ != kForever && --left_ == 0 ) {
      trace_.line( "the agent dies" );
   }
}

void Hardware::refuses( U32 index ) {
   ++refusals_;
   excused_.insert( index );
}

void Hardware::violate( const std::string &what, U32 index, const Pair &pair ) {
   if( violation_.empty() && !isAllExcused_ ) {
      violation_ = what + ": index " + std::to_string( index ) + ", " + text( pair );
   }
}

} // namespace Simulator
