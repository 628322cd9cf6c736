#include "tests/model/Histories.h"

#include "tests/model/StopReport.h"

#include <algorithm>
#include <stdexcept>

namespace ModelTests {

namespace {

/// By its inputs an agent cannot do these.
bool isByName( const Operation &operation ) {
   switch( operation.kind ) {
   case Operation::kCleanup:
   case Operation::kWatchNothing:
   case Operation::kWatchOutput:
   case Operation::kWatchOther:
   case Operation::kHandleAll:
   case Operation::kHandlePair:
   case Operation::kKeyTrue:
   case Operation::kKeyFalse:
   case Operation::kKeyDel:
   case Operation::kForgetStart:
      return true;
   default:
      return false;
   }
}

} // namespace

Tally &Tally::operator+=( const Tally &other ) {
   histories += other.histories;
   compared += other.compared;
   performed += other.performed;
   stops += other.stops;
   tried += other.tried;
   shapes += other.shapes;
   return *this;
}

std::string Histories::shownHistory( const signed char *numbers ) const {
   std::string text;
   for( const Operation &operation : plan_.beginning ) {
      text += "\n   " + shown( plan_.world, operation );
   }
   for( ; *numbers >= 0; ++numbers ) {
      text +=
            "\n   " + shown( plan_.world, plan_.operations[static_cast<std::size_t>( *numbers )] );
   }
   return "with " + std::to_string( plan_.world.indexes ) + " indexes:" + text;
}

std::string Histories::run( U32 share, U32 shares, signed char *current ) {
   share_ = share;
   shares_ = shares;
   current_ = current;
   current_[0] = -1;
   Model model( plan_.world.indexes );
   for( std::size_t i = 1; i < plan_.world.intfs.size(); ++i ) {
      model.vlanSetNew( plan_.world.intfs[i] );
   }
   model.starts();
   for( const Operation &operation : plan_.beginning ) {
      model.calls.clear();
      perform( model, plan_.world, operation );
   }
   try {
      auto product = replayed( 0 );
      compare( *product, model );
      extend( model, std::move( product ), 0 );
   } catch( const std::logic_error &differs ) {
      return shownHistory( current_ ) + "\n   " + differs.what();
   }
   tally_.shapes = shapes_.size();
   return {};
}

std::unique_ptr<Product> Histories::replayed( U32 length ) {
   auto product = std::make_unique<Product>( plan_.world );
   product->starts();
   for( const Operation &operation : plan_.beginning ) {
      product->helper->calls.clear();
      perform( *product, plan_.world, operation );
   }
   for( U32 i = 0; i < length; ++i ) {
      product->helper->calls.clear();
      perform( *product, plan_.world, plan_.operations[static_cast<std::size_t>( current_[i] )] );
   }
   tally_.performed += length;
   return product;
}

void Histories::extend( const Model &before, std::unique_ptr<Product> product, U32 length ) {
   std::vector<Step> effective;
   U32 nth = 0;
   for( std::size_t number = 0; number < plan_.operations.size(); ++number ) {
      current_[length] = static_cast<signed char>( number );
      current_[length + 1] = -1;
      auto after = std::make_unique<Model>( before );
      after->calls.clear();
      bool stops = false;
      try {
         perform( *after, plan_.world, plan_.operations[number] );
      } catch( const Stop &stop ) {
         stops = true;
         if( length != 0 || share_ == 0 ) {
            predicted( stop, *after, length );
         }
      }
      if( stops ) {
         continue;
      }
      if( !after->calls.empty() || !after->sameAs( before ) ) {
         if( length != 0 || nth++ % shares_ == share_ ) {
            effective.push_back( { static_cast<signed char>( number ), std::move( after ) } );
         }
      } else if( length != 0 || share_ == 0 ) {
         product->helper->calls.clear();
         perform( *product, plan_.world, plan_.operations[number] );
         ++tally_.performed;
         compare( *product, *after );
      }
   }
   for( const Step &step : effective ) {
      current_[length] = step.number;
      current_[length + 1] = -1;
      follow( step, &step == &effective.back() ? std::move( product ) : replayed( length ),
              length );
   }
}

void Histories::follow( const Step &step, std::unique_ptr<Product> product, U32 length ) {
   product->helper->calls.clear();
   perform( *product, plan_.world, plan_.operations[static_cast<std::size_t>( step.number )] );
   ++tally_.performed;
   compare( *product, *step.after );
   if( length + 1 < plan_.length ) {
      extend( *step.after, std::move( product ), length + 1 );
   }
}

void Histories::compare( Product &product, const Model &model ) {
   ++tally_.histories;
   ++tally_.compared;
   if( const std::string text = difference( product, model ); !text.empty() ) {
      throw std::logic_error( text );
   }
   bool mutesVlans = false;
   for( const signed char *at = current_; *at >= 0; ++at ) {
      const Operation &operation = plan_.operations[static_cast<std::size_t>( *at )];
      if( isByName( operation ) ) {
         return;
      }
      mutesVlans = mutesVlans || operation.kind == Operation::kMute;
   }
   if( const std::string text = broken( product, plan_.sharesVlans, mutesVlans ); !text.empty() ) {
      throw std::logic_error( text );
   }
}

// Stops

/// `model` is as far as it came.
void Histories::predicted( const Stop &stop, const Model &model, U32 length ) {
   ++tally_.histories;
   ++tally_.stops;
   std::vector<U32> shape{
         static_cast<U32>( plan_.operations[static_cast<std::size_t>( current_[length] )].kind ),
         stop.line, static_cast<U32>( model.free.entries.size() ),
         static_cast<U32>( model.waiting.entries.size() ), static_cast<U32>( model.index.size() ) };
   for( const Call &call : model.calls ) {
      shape.push_back( static_cast<U32>( call.kind ) );
   }
   const bool isNew = shapes_.insert( shape ).second;
   if( isNew || ( plan_.stopsEach != 0 && tally_.stops % plan_.stopsEach == 0 ) ) {
      letHappen( stop, model, length );
   }
}

void Histories::letHappen( const Stop &stop, const Model &model, U32 length ) {
   ++tally_.tried;
   ++tally_.compared;
   const auto product = replayed( length );
   ++tally_.performed;
   const std::string differs = stopDiffers( stop, model, [&]( int to ) {
      product->helper->tellTo = to;
      perform( *product, plan_.world,
               plan_.operations[static_cast<std::size_t>( current_[length] )] );
   } );
   if( !differs.empty() ) {
      throw std::logic_error( differs );
   }
}

} // namespace ModelTests
