#include "quor/Calls.h"

#include <algorithm>

namespace Quor::Rows {

void needKnownArguments( const GenericList &list, std::span<const std::string_view> names,
                         std::size_t most, std::string_view whose ) {
   const auto known = names.first( most );
   const auto isKnown = [&]( const GenericList::Element &element ) {
      return element.name.empty() ||
             std::find( known.begin(), known.end(), element.name ) != known.end();
   };
   if( list.elements().size() > most ||
       !std::all_of( list.elements().begin(), list.elements().end(), isKnown ) ) {
      throw UnknownArgumentException( whose );
   }
}

GenericIf *argument( const GenericList &list, std::string_view name, std::size_t place ) {
   for( std::size_t i = 0; i < list.elements().size(); ++i ) {
      const GenericList::Element &element = list.elements()[i];
      if( element.name.empty() ? i == place : element.name == name ) {
         return element.value.get();
      }
   }
   return nullptr;
}

std::vector<std::string_view> parameterNames( const Type &type ) {
   std::vector<std::string_view> names;
   for( const Attribute &attribute : type.attributes ) {
      if( attribute.isParameter ) {
         names.push_back( attribute.name );
      }
   }
   return names;
}

} // namespace Quor::Rows
