#include "ctl/Fields.h"

#include "ctl/Failure.h"
#include "ctl/render/Words.h"

namespace OrloCtl {

namespace {

using Json = nlohmann::json;

} // namespace

Fields::Fields( const Json &object ) : object_( object ) {
   if( !object.is_object() ) {
      throw Failure( Failure::no, "the agent's answer is not understood: an object is missing" );
   }
}

const Json &Fields::checked( const char *name, const char *type,
                             bool ( Json::*is )() const noexcept ) const {
   const auto found = object_.find( name );
   if( found == object_.end() || !( ( *found ).*is )() ) {
      throw Failure( Failure::no, std::string( "the agent's answer is not understood: \"" ) + name +
                                        "\" is missing or is not " + type );
   }
   return *found;
}

bool Fields::isNull( const char *name ) const {
   return any( name ).is_null();
}

std::string Fields::text( const char *name ) const {
   return tamed( checked( name, "a text", &Json::is_string ).get_ref<const std::string &>() );
}

std::int64_t Fields::number( const char *name ) const {
   return checked( name, "a number", &Json::is_number_integer ).get<std::int64_t>();
}

bool Fields::flag( const char *name ) const {
   return checked( name, "true or false", &Json::is_boolean ).get<bool>();
}

const Json &Fields::list( const char *name ) const {
   return checked( name, "a list", &Json::is_array );
}

const Json &Fields::object( const char *name ) const {
   return checked( name, "an object", &Json::is_object );
}

const Json &Fields::any( const char *name ) const {
   const auto found = object_.find( name );
   if( found == object_.end() ) {
      throw Failure( Failure::no, std::string( "the agent's answer is not understood: \"" ) + name +
                                        "\" is missing" );
   }
   return *found;
}

std::string Fields::textIfAny( const char *name ) const {
   return has( name ) && !isNull( name ) ? text( name ) : std::string();
}

std::optional<std::int64_t> Fields::numberOrNull( const char *name ) const {
   return isNull( name ) ? std::nullopt : std::optional( number( name ) );
}

std::optional<bool> Fields::flagOrNull( const char *name ) const {
   return isNull( name ) ? std::nullopt : std::optional( flag( name ) );
}

} // namespace OrloCtl
