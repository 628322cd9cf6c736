#include "agent/hardware/ebpf/EbpfHelper.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

namespace OrloAgent {

namespace {

using Quor::U16;
using Quor::U32;

constexpr std::chrono::seconds kReadAgain{ 1 };

/// Of this part of the table a look-up each costs as much as to read it all.
constexpr U32 kWorthReading = 4;

/// The same for every pair that is refused for it.
std::string reasonOf( int error ) {
   switch( error ) {
   case E2BIG:
      return "the table is full";
   case ENOMEM:
      return "the kernel has no memory for it";
   case EPERM:
      return "the kernel does not permit it: the agent needs root, or the capability CAP_BPF";
   default:
      return std::string( "the kernel refuses it: " ) + std::strerror( error );
   }
}

/// Runs `operation` on all of `rows`, of which one may fail without keeping those behind it from
/// being done; `failed` hears place and errno of each that does.
template <class Row, class Operation, class Failed>
void eachDone( std::span<const Row> rows, Operation operation, Failed failed ) {
   for( std::size_t at = 0; at < rows.size(); ) {
      const EbpfKernel::Done done = operation( rows.subspan( at ) );
      at += done.count;
      if( done.error != 0 && at < rows.size() ) {
         failed( at, done.error );
         ++at;
      } else if( done.count == 0 ) {
         failed( at, EIO ); // nothing was done, for no reason
         ++at;
      }
   }
}

} // namespace

EbpfHelper::EbpfHelper( std::unique_ptr<EbpfKernel> kernel, const EbpfSettings &own,
                        const OrloHelper::HelperSettings &settings )
      : RetryingHelper( "ebpf", settings ), kernel_( std::move( kernel ) ), batch_( own.batch ),
        written_( settings.indexes ),
        ports_( *kernel_, own.ports, [this]( const std::string &what ) { tell( what ); } ) {
   interfacesAre( settings.interfaces );
   syncCurrentStateOnInitIs( true );
}

const EbpfHelper::Svi *EbpfHelper::sviOf( Bridging::VlanId vlan ) const {
   const U16 number = vlan.number();
   const U16 at = number < kVlans ? sviAt_[number] : U16{ 0 };
   return at == 0 ? nullptr : &svis_[at - 1u];
}

void EbpfHelper::interfacesAre( const std::vector<OrloHelper::RoutedInterface> &interfaces ) {
   svis_.clear();
   sviAt_.fill( 0 );
   for( const OrloHelper::RoutedInterface &interface : interfaces ) {
      svis_.push_back( { interface.name, kernel_->ifindex( interface.name ) } );
      const U16 at = static_cast<U16>( svis_.size() );
      sviAt_[interface.vlan.number() % kVlans] = at;
      for( const Bridging::VlanId secondary : interface.secondaryVlans ) {
         sviAt_[secondary.number() % kVlans] = at;
      }
   }
   sviRows();
}

void EbpfHelper::sviRows() {
   for( U32 index = 0; index < written_.size(); ++index ) {
      if( written_[index] == 0 || !wanted( index ) ) {
         continue;
      }
      const Svi *const svi = sviOf( wanted( index )->vlanId() );
      if( ( svi ? svi->ifindex : 0 ) != written_[index] ) {
         outdated( index );
      }
   }
   tryAgainNow(); // also what was refused for want of an SVI
}

void EbpfHelper::readSvis() {
   mustReadSvis_ = true; // until they have been
   // Nothing may have been heard since they were looked at.
   for( Svi &svi : svis_ ) {
      svi.ifindex = kernel_->ifindex( svi.name );
   }
   for( const EbpfKernel::Entry &entry : kernel_->entries() ) {
      if( entry.index < written_.size() ) {
         written_[entry.index] = entry.svi;
      }
   }
   mustReadSvis_ = false;
   sviRows();
}

void EbpfHelper::tryToReadSvis() {
   try {
      readSvis();
   } catch( const std::exception & ) { // later then
   }
}

void EbpfHelper::syncVrrpStateOnInit(
      const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &currentStatePtr ) {
   RetryingHelper::syncVrrpStateOnInit( currentStatePtr );
   tryToReadSvis();
}

void EbpfHelper::repair() {
   RetryingHelper::repair();
   readSvis();
   ports_.heardNothing();
}

void EbpfHelper::leave() {
   ports_.leaveAll();
   kernel_->unpin();
}

std::vector<EbpfHelper::Entry> EbpfHelper::readAll() const {
   std::vector<Entry> all;
   for( const EbpfKernel::Entry &entry : kernel_->entries() ) {
      all.push_back( { entry.pair, entry.index } );
   }
   return all;
}

EbpfHelper::Time EbpfHelper::work( Time now ) {
   const Time next = RetryingHelper::work( now );
   const Time ports = ports_.work( now ); // of what was heard
   return std::min( { next, ports, mustReadSvis_ ? now + kReadAgain : kNever } );
}

void EbpfHelper::hear() {
   const EbpfKernel::News news = kernel_->hear();
   ports_.heard( news );
   if( mustReadSvis_ ) {
      tryToReadSvis();
   }
   if( !news.isIncomplete && news.devices.empty() ) {
      return;
   }
   std::set<std::string> names;
   std::set<U32> ifindexes;
   for( const EbpfKernel::News::Device &device : news.devices ) {
      names.insert( device.name );
      ifindexes.insert( device.ifindex );
   }
   bool isOther = false;
   for( Svi &svi : svis_ ) {
      if( news.isIncomplete || names.contains( svi.name ) || ifindexes.contains( svi.ifindex ) ) {
         const U32 ifindex = kernel_->ifindex( svi.name );
         isOther = isOther || ifindex != svi.ifindex;
         svi.ifindex = ifindex;
      }
   }
   if( isOther ) {
      sviRows();
   }
}

void EbpfHelper::remove( std::span<Write> writes ) {
   const std::vector<Found> found = readFor( writes.size() );
   for( std::size_t at = 0; at < writes.size(); at += batch_ ) {
      removeRows( writes.subspan( at, std::min( batch_, writes.size() - at ) ), found );
   }
}

/// What stands in the table, by index: nothing when that many pairs are sooner looked up one by
/// one, or it cannot be read.
std::vector<EbpfHelper::Found> EbpfHelper::readFor( std::size_t count ) const {
   std::vector<Found> found;
   if( count < indexes() / kWorthReading ) {
      return found;
   }
   try {
      const std::vector<EbpfKernel::Entry> entries = kernel_->entries();
      found.resize( indexes() );
      for( const EbpfKernel::Entry &entry : entries ) {
         if( entry.index < found.size() ) {
            found[entry.index] = entry.pair;
         }
      }
   } catch( const std::exception & ) { // one by one then
   }
   return found;
}

bool EbpfHelper::hasRow( const Write &write ) const {
   const std::optional<EbpfKernel::Entry> row = kernel_->entry( write.pair );
   return row && ( write.index == kNoIndex || row->index == write.index );
}

/// `found` spares look-ups.
void EbpfHelper::removeRows( std::span<Write> writes, const std::vector<Found> &found ) {
   std::vector<Write *> asked;
   std::vector<VlanAndMac> pairs;
   for( Write &write : writes ) {
      if( ( write.index < found.size() && found[write.index] == write.pair ) || hasRow( write ) ) {
         asked.push_back( &write );
         pairs.push_back( write.pair );
      }
   }
   eachDone(
         std::span<const VlanAndMac>( pairs ),
         [this]( std::span<const VlanAndMac> rows ) { return kernel_->erase( rows ); },
         [&asked]( std::size_t place, int error ) {
            if( error != ENOENT ) {
               asked[place]->refusal = reasonOf( error );
            }
         } );
}

void EbpfHelper::add( std::span<Write> writes ) {
   for( std::size_t at = 0; at < writes.size(); at += batch_ ) {
      addRows( writes.subspan( at, std::min( batch_, writes.size() - at ) ) );
   }
}

void EbpfHelper::addRows( std::span<Write> writes ) {
   std::vector<Write *> asked;
   std::vector<EbpfKernel::Entry> rows;
   std::vector<Write> without; // an SVI: frames to these go on as before
   for( Write &write : writes ) {
      written_[write.index] = 0;
      const Svi *const svi = sviOf( write.pair.vlanId() );
      if( svi && svi->ifindex != 0 ) {
         asked.push_back( &write );
         rows.push_back( { write.pair, write.index, svi->ifindex } );
      } else {
         write.refusal = svi ? "no interface " + svi->name : "no interface routes its VLAN";
         without.push_back( { write.index, write.pair } );
      }
   }
   removeRows( without, {} );
   eachDone(
         std::span<const EbpfKernel::Entry>( rows ),
         [this]( std::span<const EbpfKernel::Entry> some ) { return kernel_->put( some ); },
         [&asked]( std::size_t place, int error ) { asked[place]->refusal = reasonOf( error ); } );
   for( std::size_t i = 0; i < rows.size(); ++i ) {
      if( asked[i]->refusal.empty() ) {
         written_[rows[i].index] = rows[i].svi;
      }
   }
}

} // namespace OrloAgent
