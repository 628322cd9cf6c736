// A switch whose kernel is in memory: what an EbpfKernel writes stays there when it goes.
#ifndef TESTS_UNIT_EBPF_FAKESWITCH_H
#define TESTS_UNIT_EBPF_FAKESWITCH_H

#include "agent/hardware/ebpf/EbpfKernel.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace OrloAgent {

/// Written to by the FakeEbpf of one helper after the other. Each write stands in `calls`.
struct FakeSwitch {
   using U32 = Quor::U32;
   struct Row {
      U32 index;
      U32 svi;
      bool operator==( const Row & ) const = default;
   };
   static constexpr U32 kForeign = ~U32{ 0 }; ///< as a program: somebody else's

   std::map<Pair, Row> rows;
   std::map<U32, U32> ports; ///< access VLAN by interface index
   std::map<std::string, U32> devices;
   std::map<U32, U32> filters; ///< program by interface index
   std::vector<std::string> calls;

   std::size_t capacity = 1000;
   std::map<Pair, int> refusals;
   int attachError = 0;
   int portError = 0;
   bool isUnreadable = false;
   std::optional<U32> readings; ///< so many more, then it is unreadable
   EbpfKernel::News news;

   std::vector<std::string> takeCalls() { return std::exchange( calls, {} ); }

   /// A device comes, under a new interface index.
   U32 comes( const std::string &name ) {
      const U32 ifindex = ++lastIfindex;
      devices[name] = ifindex;
      news.devices.push_back( { ifindex, name } );
      return ifindex;
   }
   void goes( const std::string &name ) {
      const U32 ifindex = devices.at( name );
      devices.erase( name );
      filters.erase( ifindex );
      news.devices.push_back( { ifindex, name } );
   }
   void renamed( const std::string &from, const std::string &to ) {
      const U32 ifindex = devices.at( from );
      devices.erase( from );
      devices[to] = ifindex;
      news.devices.push_back( { ifindex, to } );
   }
   /// Somebody puts a program there, or takes it away (0).
   void filterIs( const std::string &port, U32 program ) {
      const U32 ifindex = devices.at( port );
      filters.erase( ifindex );
      if( program != 0 ) {
         filters[ifindex] = program;
      }
      news.filtered.push_back( ifindex );
   }

   U32 lastIfindex = 0;
};

class FakeEbpf final : public EbpfKernel {
 public:
   using U32 = Quor::U32;

   FakeEbpf( FakeSwitch &on, U32 program ) : switch_( on ), program_( program ) {
      switch_.news = {}; // only what comes from here on is heard
   }

   std::vector<Entry> entries() const override {
      if( switch_.isUnreadable || ( switch_.readings && ( *switch_.readings )-- == 0 ) ) {
         switch_.isUnreadable = true;
         throw std::runtime_error( "out of order" );
      }
      std::vector<Entry> all;
      for( const auto &[pair, row] : switch_.rows ) {
         all.push_back( { pair, row.index, row.svi } );
      }
      return all;
   }
   std::optional<Entry> entry( const Pair &pair ) const override {
      const auto at = switch_.rows.find( pair );
      return at == switch_.rows.end()
                   ? std::nullopt
                   : std::optional<Entry>( Entry{ pair, at->second.index, at->second.svi } );
   }
   Done put( std::span<const Entry> rows ) override {
      wrote( "put " + std::to_string( rows.size() ) );
      return each( rows, [this]( const Entry &row ) {
         if( const auto no = switch_.refusals.find( row.pair ); no != switch_.refusals.end() ) {
            return no->second;
         }
         if( !switch_.rows.contains( row.pair ) && switch_.rows.size() >= switch_.capacity ) {
            return E2BIG;
         }
         switch_.rows[row.pair] = { row.index, row.svi };
         return 0;
      } );
   }
   Done erase( std::span<const Pair> pairs ) override {
      wrote( "erase " + std::to_string( pairs.size() ) );
      return each( pairs, [this]( const Pair &pair ) {
         if( const auto no = switch_.refusals.find( pair ); no != switch_.refusals.end() ) {
            return no->second;
         }
         return switch_.rows.erase( pair ) == 0 ? ENOENT : 0;
      } );
   }
   std::map<U32, U32> ports() const override { return switch_.ports; }
   int portIs( U32 ifindex, U32 accessVlan ) override {
      wrote( "port " + std::to_string( ifindex ) + " vlan " + std::to_string( accessVlan ) );
      if( switch_.portError == 0 ) {
         switch_.ports[ifindex] = accessVlan;
      }
      return switch_.portError;
   }
   int portDel( U32 ifindex ) override {
      wrote( "no port " + std::to_string( ifindex ) );
      return switch_.ports.erase( ifindex ) == 0 ? ENOENT : 0;
   }
   Filter filter( U32 ifindex ) const override {
      const auto at = switch_.filters.find( ifindex );
      return at == switch_.filters.end()          ? Filter::none
             : at->second == program_             ? Filter::current
             : at->second == FakeSwitch::kForeign ? Filter::foreign
                                                  : Filter::outdated;
   }
   int attach( U32 ifindex ) override {
      wrote( "attach " + std::to_string( ifindex ) );
      if( switch_.attachError == 0 ) {
         switch_.filters[ifindex] = program_;
         switch_.news.filtered.push_back( ifindex ); // the kernel tells everybody
      }
      return switch_.attachError;
   }
   int detach( U32 ifindex ) override {
      wrote( "detach " + std::to_string( ifindex ) );
      switch_.filters.erase( ifindex );
      switch_.news.filtered.push_back( ifindex );
      return 0;
   }
   void unpin() override { wrote( "unpin" ); }
   U32 ifindex( const std::string &name ) const override {
      const auto at = switch_.devices.find( name );
      return at == switch_.devices.end() ? 0 : at->second;
   }
   int fd() const override { return -1; }
   News hear() override { return std::exchange( switch_.news, {} ); }

 private:
   void wrote( const std::string &what ) { switch_.calls.push_back( what ); }

   template <class T, class Operation>
   static Done each( std::span<const T> all, Operation operation ) {
      Done done;
      for( const T &one : all ) {
         done.error = operation( one );
         if( done.error != 0 ) {
            return done;
         }
         ++done.count;
      }
      return done;
   }

   FakeSwitch &switch_;
   const U32 program_;
};

} // namespace OrloAgent

#endif
