// Paths to everything that is described, from objects with names:
//
//    vrrpSm/virtualRouterIndex[10,00:00:5e:00:01:33]
//    intfVlanIdSetTable/sviVlanSet[br10]/vlanId[11]
//    vrrpSm/vrrpHelper/syncCurrentStateOnInit
//
// that is, ROOT[/ATTRIBUTE[\[KEY\]]]... Pointers are followed. A key is written as typedValue()
// reads it, and ends at the first ']' that ends a text of the key's type and the component.
#ifndef ORLOAGENT_CONTROL_PATH_H
#define ORLOAGENT_CONTROL_PATH_H

#include "quor/GenericIf.h"

#include <map>
#include <string>
#include <string_view>

namespace OrloAgent {

/// The objects at which paths begin.
using Roots = std::map<std::string, Quor::Ptr<Quor::GenericIf>, std::less<>>;

/// Where a path leads: to an object, to one of its attributes, or to the place of a member in a
/// collection. Holds what it leads to: short-lived. One thread, that of the objects.
class Path {
 public:
   static constexpr std::size_t kMostBytes = 4096;
   static constexpr std::size_t kMostComponents = 16;

   /// Takes any text. Throws PathError.
   Path( const Roots &roots, std::string_view text );

   const std::string &text() const noexcept { return text_; }
   /// The object, or the owner of the attribute; never null.
   const Quor::Ptr<Quor::GenericIf> &object() const noexcept { return object_; }
   /// Null: the path leads to the object itself.
   const Quor::Attribute *attribute() const noexcept { return attribute_; }
   /// Null: the path does not lead to a member.
   const Quor::Ptr<Quor::GenericIf> &key() const noexcept { return key_; }
   /// The object is part of a value, of which only a copy was reached.
   bool isInValue() const noexcept { return isInValue_; }

   bool isCollection() const noexcept;
   bool isFunction() const noexcept;
   /// What stands there: the object, the value or the member; null for a null pointer. PathError
   /// for a function, a collection, and a member that is not there.
   Quor::Ptr<Quor::GenericIf> value() const;
   /// PathError unless the member is there.
   void needMember() const;

   /// The names of all attributes of a type, its bases' behind its own.
   static std::vector<const Quor::Attribute *> attributesOf( const Quor::Type &type );

 private:
   void begin( const Roots &roots );
   void follow();
   void readComponent();
   void readKey();
   std::string here() const;

   const std::string text_;
   std::size_t at_ = 0; ///< what is behind it has not been read
   Quor::Ptr<Quor::GenericIf> object_;
   const Quor::Attribute *attribute_ = nullptr;
   Quor::Ptr<Quor::GenericIf> key_;
   bool isInValue_ = false;
};

/// A text from outside, as it may stand in an error: not too long.
std::string shortened( std::string_view text );

} // namespace OrloAgent

#endif
