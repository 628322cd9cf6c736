// Measures notification, traces that are off, and text forms. Nanoseconds a call are the
// benchmark's own time.
#include "OrloVrrpSm/VrrpSm.h"
#include "bench/framework/Listener.h"
#include "bench/subjects/Values.h"
#include "quor/Trace.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

namespace OrloBench {

namespace {

using Routing::Fhrp::Hardware::Status;

constexpr int kLoop = 1000; // a step of Google Benchmark's own loop is not nothing

/// kLoop changes of an attribute, without a watcher: what the change itself takes.
void changes( benchmark::State &state ) {
   const auto watchers = static_cast<std::size_t>( state.range( 0 ) );
   const auto status = Quor::make<Status>();
   std::vector<Quor::Ptr<Listener>> listeners;
   for( std::size_t i = 0; i < watchers; ++i ) {
      listeners.push_back( Quor::make<Listener>() );
      listeners.back()->notifierIs( status );
      listeners.back()->isRegisteredNotifieeIs( true );
   }
   U32 count = 0;
   for( [[maybe_unused]] auto _ : state ) {
      for( int i = 0; i < kLoop; ++i ) {
         status->virtualRouterCountIs( ++count );
         benchmark::ClobberMemory();
      }
   }
   for( const auto &listener : listeners ) {
      if( listener->heard() != count ) {
         throw std::logic_error( "a watcher was not told" );
      }
   }
}

/// The same change, and a virtual call for each listener, in a plain loop.
void directCalls( benchmark::State &state ) {
   std::vector<Quor::Ptr<Listener>> listeners;
   std::vector<Status::NotifieeConst *> callees;
   for( int i = 0; i < state.range( 0 ); ++i ) {
      listeners.push_back( Quor::make<Listener>() );
      callees.push_back( listeners.back().get() );
   }
   U32 attribute = 0;
   U32 count = 0;
   for( [[maybe_unused]] auto _ : state ) {
      for( int i = 0; i < kLoop; ++i ) {
         ++count;
         if( count != attribute ) {
            attribute = count;
            for( Status::NotifieeConst *const callee : callees ) {
               callee->onVirtualRouterCount();
            }
         }
         benchmark::DoNotOptimize( attribute );
         benchmark::ClobberMemory();
      }
   }
   for( const auto &listener : listeners ) {
      if( listener->heard() != count ) {
         throw std::logic_error( "a callee was not called" );
      }
   }
}

/// The step that the traces stand in.
U32 step( U32 value ) {
   benchmark::DoNotOptimize( value );
   return value * 1664525 + 1013904223;
}

void withoutTraces( benchmark::State &state ) {
   U32 value = 1;
   for( [[maybe_unused]] auto _ : state ) {
      for( int i = 0; i < kLoop; ++i ) {
         value = step( value );
         value = step( value );
         value = step( value );
         value = step( value );
         benchmark::ClobberMemory();
      }
   }
   benchmark::DoNotOptimize( value );
}

/// As a module keeps its own.
const Quor::TraceHandle &handle() {
   static const Quor::TraceHandle handle( "OrloBench", false );
   return handle;
}
constinit Quor::TraceFacility facility{ handle };

void withTraces( benchmark::State &state ) {
   U32 value = 1;
   for( [[maybe_unused]] auto _ : state ) {
      for( int i = 0; i < kLoop; ++i ) {
         if( Quor::Trace t{ facility, 1, "bench", 1, "withTraces" } ) {
            t << value;
         }
         value = step( value );
         if( Quor::Trace t{ facility, 4, "bench", 2, "withTraces" } ) {
            t << value;
         }
         value = step( value );
         if( Quor::Trace t{ facility, 5, "bench", 3, "withTraces" } ) {
            t << value;
         }
         value = step( value );
         if( Quor::Trace t{ facility, 8, "bench", 4, "withTraces" } ) {
            t << value;
         }
         value = step( value );
         benchmark::ClobberMemory();
      }
   }
   benchmark::DoNotOptimize( value );
}

const VlanAndMac kPair( vlan( 4094 ), mac( 0x00005E0001FFu ) );
constexpr char kFormat[] = "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** "
                           "{'vlanId': %u, 'mac': %02x:%02x:%02x:%02x:%02x:%02x})";
constexpr char kRead[] = "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** "
                         "{'vlanId': %u, 'mac': %x:%x:%x:%x:%x:%x})";

std::string printed( const VlanAndMac &pair ) {
   char text[160];
   const auto o = pair.mac().octets();
   const int length =
         std::snprintf( text, sizeof( text ), kFormat, unsigned{ pair.vlanId().number() }, o[0],
                        o[1], o[2], o[3], o[4], o[5] );
   return { text, static_cast<std::size_t>( length ) };
}

VlanAndMac scanned( const std::string &text ) {
   unsigned number = 0;
   unsigned o[6];
   if( std::sscanf( text.c_str(), kRead, &number, &o[0], &o[1], &o[2], &o[3], &o[4], &o[5] ) !=
       7 ) {
      throw std::logic_error( "no pair: " + text );
   }
   Pelmo::EthAddr::Octets octets;
   std::copy( std::begin( o ), std::end( o ), octets.begin() );
   return { vlan( number ), EthAddr( octets ) };
}

void textForm( benchmark::State &state ) {
   for( [[maybe_unused]] auto _ : state ) {
      benchmark::DoNotOptimize( valueToStrep( kPair ) );
   }
}

void textFormBySnprintf( benchmark::State &state ) {
   if( printed( kPair ) != valueToStrep( kPair ) ) {
      throw std::logic_error( "another text" );
   }
   for( [[maybe_unused]] auto _ : state ) {
      benchmark::DoNotOptimize( printed( kPair ) );
   }
}

void parse( benchmark::State &state ) {
   const std::string text = printed( kPair );
   for( [[maybe_unused]] auto _ : state ) {
      benchmark::DoNotOptimize( strepToValue( Quor::Strep<VlanAndMac>{}, text ) );
   }
}

void parseBySscanf( benchmark::State &state ) {
   const std::string text = printed( kPair );
   if( scanned( text ) != kPair ) {
      throw std::logic_error( "another pair" );
   }
   for( [[maybe_unused]] auto _ : state ) {
      benchmark::DoNotOptimize( scanned( text ) );
   }
}

BENCHMARK( changes )->Arg( 0 )->Arg( 1 )->Arg( 2 )->Arg( 8 );
BENCHMARK( directCalls )->Arg( 0 )->Arg( 1 )->Arg( 2 )->Arg( 8 );
BENCHMARK( withoutTraces );
BENCHMARK( withTraces );
BENCHMARK( textForm );
BENCHMARK( textFormBySnprintf );
BENCHMARK( parse );
BENCHMARK( parseBySscanf );

} // namespace

} // namespace OrloBench

BENCHMARK_MAIN();
