#include "ctl/render/Words.h"

#include "ctl/Failure.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace OrloCtl {

namespace {

using Json = nlohmann::json;

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

std::string twoDigits( std::int64_t number ) {
   return ( number < 10 ? "0" : "" ) + std::to_string( number );
}

std::string joined( const std::vector<std::string> &parts ) {
   std::string text;
   for( const std::string &part : parts ) {
      text += ( text.empty() ? "" : ", " ) + part;
   }
   return text.empty() ? "-" : text;
}

[[noreturn]] void failToUnderstand( const char *what ) {
   throw Failure( Failure::no, std::string( "the agent's answer is not understood: " ) + what );
}

} // namespace

std::string tamed( std::string_view text ) {
   std::string shown( text );
   std::replace_if(
         shown.begin(), shown.end(), []( char c ) { return c < ' ' || c > '~'; }, '?' );
   return shown;
}

std::string counted( std::int64_t count, const char *one, const char *many ) {
   return std::to_string( count ) + " " + ( count == 1 ? one : many );
}

std::string duration( std::int64_t seconds ) {
   seconds = std::max<std::int64_t>( seconds, 0 ); // clocks are set
   if( seconds < kMinute ) {
      return std::to_string( seconds ) + "s";
   }
   if( seconds < kHour ) {
      return std::to_string( seconds / kMinute ) + "m" + twoDigits( seconds % kMinute ) + "s";
   }
   if( seconds < kDay ) {
      return std::to_string( seconds / kHour ) + "h" + twoDigits( seconds % kHour / kMinute ) + "m";
   }
   return std::to_string( seconds / kDay ) + "d" + twoDigits( seconds % kDay / kHour ) + "h";
}

std::string age( const std::string &moment, std::int64_t now ) {
   std::tm parts{};
   const char *const end = strptime( moment.c_str(), "%Y-%m-%dT%H:%M:%S", &parts );
   if( !end || ( *end != 'Z' && *end != '.' ) ) {
      return moment;
   }
   return duration( now - timegm( &parts ) );
}

std::string numbers( const Json &list ) {
   std::vector<std::int64_t> all;
   for( const Json &one : list ) {
      if( !one.is_number_integer() ) {
         failToUnderstand( "a number is missing in a list" );
      }
      all.push_back( one.get<std::int64_t>() );
   }
   std::sort( all.begin(), all.end() );
   std::vector<std::string> ranges;
   for( std::size_t first = 0; first < all.size(); ) {
      std::size_t last = first;
      while( last + 1 < all.size() && all[last + 1] - all[last] <= 1 ) {
         ++last;
      }
      ranges.push_back( std::to_string( all[first] ) +
                        ( all[last] == all[first] ? "" : "-" + std::to_string( all[last] ) ) );
      first = last + 1;
   }
   return joined( ranges );
}

std::string texts( const Json &list ) {
   std::vector<std::string> all;
   for( const Json &one : list ) {
      if( !one.is_string() ) {
         failToUnderstand( "a text is missing in a list" );
      }
      all.push_back( tamed( one.get_ref<const std::string &>() ) );
   }
   return joined( all );
}

std::string valueText( const Json &value ) {
   if( value.is_null() ) {
      return "-";
   }
   if( value.is_boolean() ) {
      return value.get<bool>() ? "yes" : "no";
   }
   return tamed( value.is_string() ? value.get<std::string>()
                                   : value.dump( -1, ' ', false, Json::error_handler_t::replace ) );
}

std::vector<std::string> wrapped( const std::string &text, std::size_t width ) {
   std::vector<std::string> lines;
   std::string rest = text;
   while( rest.size() > width ) {
      // The blank behind a full line is not shown, so it may stand one column further.
      std::size_t end = rest.find_last_of( ' ', width );
      if( end == std::string::npos || end == 0 ) {
         const std::size_t comma = rest.find_last_of( ',', width - 1 );
         end = comma == std::string::npos ? width : comma + 1;
      }
      lines.push_back( rest.substr( 0, end ) );
      const std::size_t next = rest.find_first_not_of( ' ', end );
      rest = next == std::string::npos ? std::string() : rest.substr( next );
   }
   if( !rest.empty() || lines.empty() ) {
      lines.push_back( rest );
   }
   return lines;
}

std::string hanging( const std::string &lead, const std::string &text ) {
   constexpr std::size_t kNarrowest = 20;
   const std::size_t width = lead.size() + kNarrowest > kWidth ? kNarrowest : kWidth - lead.size();
   std::string all;
   for( const std::string &line : wrapped( text, width ) ) {
      all += ( all.empty() ? lead : std::string( lead.size(), ' ' ) ) + line + "\n";
   }
   return all;
}

} // namespace OrloCtl
