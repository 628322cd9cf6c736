#include "tests/simulator/Figures.h"

#include <array>
#include <cstdio>

namespace Simulator {

Figures &Figures::operator+=( const Figures &other ) {
   histories += other.histories;
   steps += other.steps;
   happenings += other.happenings;
   datagrams += other.datagrams;
   overruns += other.overruns;
   interruptions += other.interruptions;
   callbacks += other.callbacks;
   requests += other.requests;
   reloads += other.reloads;
   starts += other.starts;
   crashes += other.crashes;
   writes += other.writes;
   refusals += other.refusals;
   checks += other.checks;
   years += other.years;
   return *this;
}

std::string Figures::text() const {
   std::array<char, 600> text{};
   std::snprintf(
         text.data(), text.size(),
         "%llu histories, %.1f years: %llu happenings, %llu datagrams, %llu lost, %llu "
         "interrupted, %llu callbacks, %llu requests, %llu reloads, %llu starts, %llu "
         "crashes, %llu writes, %llu refusals, %llu checks",
         static_cast<unsigned long long>( histories ), years,
         static_cast<unsigned long long>( happenings ),
         static_cast<unsigned long long>( datagrams ), static_cast<unsigned long long>( overruns ),
         static_cast<unsigned long long>( interruptions ),
         static_cast<unsigned long long>( callbacks ), static_cast<unsigned long long>( requests ),
         static_cast<unsigned long long>( reloads ), static_cast<unsigned long long>( starts ),
         static_cast<unsigned long long>( crashes ), static_cast<unsigned long long>( writes ),
         static_cast<unsigned long long>( refusals ), static_cast<unsigned long long>( checks ) );
   return text.data();
}

} // namespace Simulator
