#include "agent/JsonText.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace OrloAgent {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kShown = 60;

/// In one short line that does nothing to a terminal.
std::string tamed( std::string text ) {
   constexpr std::size_t kMost = 200;
   if( text.size() > kMost ) {
      text.replace( kMost, std::string::npos, "..." );
   }
   std::replace_if(
         text.begin(), text.end(), []( char c ) { return c < ' ' || c > '~'; }, '?' );
   return text;
}

std::string inQuotes( std::string_view text ) {
   // What is not UTF-8 is shown as U+FFFD, everything that is not printable ASCII escaped.
   const Json shown( std::string( text.substr( 0, kShown ) ) );
   std::string line = shown.dump( -1, ' ', true, Json::error_handler_t::replace );
   for( std::size_t at = line.find( '\x7f' ); at != std::string::npos; at = line.find( '\x7f' ) ) {
      line.replace( at, 1, "\\u007f" );
   }
   return text.size() > kShown ? line.substr( 0, line.size() - 1 ) + "...\"" : line;
}

/// What the parser says, without its own prefixes: the place is told in our words.
std::string reasonOf( const std::string &what ) {
   for( const char *lead : { " - ", "parsing ", "] " } ) {
      const std::size_t at = what.find( lead );
      if( at != std::string::npos ) {
         const std::string rest = what.substr( at + std::string_view( lead ).size() );
         return tamed( std::string_view( lead ) == "parsing " ? rest + " is too large" : rest );
      }
   }
   return tamed( what );
}

/// Builds the value tree from the parser's events. nlohmann's own builder keeps the last of two
/// members with the same name and says nothing.
class TreeBuilder : public nlohmann::json_sax<Json> {
 public:
   explicit TreeBuilder( std::string_view text ) : text_( text ) {}

   Json tree() && { return std::move( root_ ); }

   bool null() override { return add( nullptr ); }
   bool boolean( bool value ) override { return add( value ); }
   bool number_integer( number_integer_t value ) override { return add( value ); }
   bool number_unsigned( number_unsigned_t value ) override { return add( value ); }
   bool number_float( number_float_t value, const string_t & ) override { return add( value ); }
   bool string( string_t &value ) override { return add( std::move( value ) ); }
   bool binary( binary_t & ) override { return add( nullptr ); } // not in text

   bool start_object( std::size_t ) override { return open( Json::object() ); }
   bool start_array( std::size_t ) override { return open( Json::array() ); }
   bool end_object() override { return close(); }
   bool end_array() override { return close(); }
   bool key( string_t &name ) override {
      if( open_.back()->contains( name ) ) {
         throw JsonError( memberPointer( pointer(), name ) + ": this member stands here twice" );
      }
      names_.back() = std::move( name );
      return true;
   }

   bool parse_error( std::size_t position, const std::string &,
                     const nlohmann::detail::exception &error ) override {
      // The character that was read last stands at position - 1.
      const std::string_view before = text_.substr( 0, std::max<std::size_t>( position, 1 ) - 1 );
      const auto line = std::count( before.begin(), before.end(), '\n' ) + 1;
      const std::size_t lineStart = before.rfind( '\n' ) + 1; // npos + 1 is 0
      throw JsonError( "line " + std::to_string( line ) + ", column " +
                       std::to_string( before.size() - lineStart + 1 ) + ": " +
                       reasonOf( error.what() ) );
   }

 private:
   Json *place( Json value ) {
      if( open_.empty() ) {
         root_ = std::move( value );
         return &root_;
      }
      Json &container = *open_.back();
      if( container.is_array() ) {
         container.push_back( std::move( value ) );
         return &container.back();
      }
      return &( container[names_.back()] = std::move( value ) );
   }
   bool add( Json value ) {
      place( std::move( value ) );
      return true;
   }
   bool open( Json container ) {
      if( open_.size() == kDeepestJson ) {
         // The place would be a long one: that of the outermost member has to do.
         const Json &outermost = *open_.front();
         throw JsonError( ( outermost.is_object() ? memberPointer( "", names_.front() )
                                                  : "/" + std::to_string( outermost.size() - 1 ) ) +
                          ": nested more than " + std::to_string( kDeepestJson ) + " deep" );
      }
      open_.push_back( place( std::move( container ) ) );
      names_.emplace_back();
      return true;
   }
   bool close() {
      open_.pop_back();
      names_.pop_back();
      return true;
   }
   std::string pointer() const { // of the innermost open container
      std::string text;
      for( std::size_t i = 0; i + 1 < open_.size(); ++i ) {
         if( open_[i]->is_array() ) {
            text += "/" + std::to_string( open_[i]->size() - 1 );
         } else {
            text = memberPointer( text, names_[i] );
         }
      }
      return text;
   }

   std::string_view text_;
   Json root_;
   std::vector<Json *> open_; // a container does not move while one inside it is open
   std::vector<std::string> names_;
};

} // namespace

nlohmann::json readJson( std::string_view text, Comments comments ) {
   TreeBuilder builder( text );
   Json::sax_parse( text.begin(), text.end(), &builder, Json::input_format_t::json, true,
                    comments == Comments::allowed );
   return std::move( builder ).tree();
}

std::string memberPointer( const std::string &pointer, std::string_view name ) {
   std::string escaped;
   for( const char c : name ) {
      escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string( 1, c );
   }
   const std::string printable = inQuotes( escaped );
   return pointer + "/" + printable.substr( 1, printable.size() - 2 );
}

std::string shortJson( const nlohmann::json &value ) {
   if( value.is_object() ) {
      return "an object";
   }
   if( value.is_array() ) {
      return "an array";
   }
   return value.is_string() ? inQuotes( value.get_ref<const std::string &>() ) : value.dump();
}

} // namespace OrloAgent
