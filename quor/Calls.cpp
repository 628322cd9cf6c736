#include "quor/Calls.h"

#include <algorithm>

namespace Quor::Rows {

void needKnownArguments( const GenericList &list, std::span<const std::string_view> names,
                         std::size_t most, std::string_view whose ) {
   const auto known = names.first( most );
   std::vector<bool> isGiven( most );
   for( std::size_t i = 0; i < list.elements().size(); ++i ) {
      const String &name = list.elements()[i].name;
      const auto place =
            name.empty() ? i
                         : static_cast<std::size_t>( std::find( known.begin(), known.end(), name ) -
                                                     known.begin() );
      if( place >= most || isGiven[place] ) {
         throw UnknownArgumentException( whose );
      }
      isGiven[place] = true;
   }
}

const GenericList::Element *elementFor( const GenericList &list, std::string_view name,
                                        std::size_t place ) {
   for( std::size_t i = 0; i < list.elements().size(); ++i ) {
      const GenericList::Element &element = list.elements()[i];
      if( element.name.empty() ? i == place : element.name == name ) {
         return &element;
      }
   }
   return nullptr;
}

GenericIf *argument( const GenericList &list, std::string_view name, std::size_t place ) {
   const GenericList::Element *const element = elementFor( list, name, place );
   return element ? element->value.get() : nullptr;
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
