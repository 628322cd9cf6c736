// Everything that is described, listed, read, changed and called by path.
#ifndef ORLOAGENT_CONTROL_PATHACCESS_H
#define ORLOAGENT_CONTROL_PATHACCESS_H

#include "agent/control/ChangeGuard.h"
#include "agent/control/Path.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <vector>

namespace OrloAgent {

/// Answers are JSON: numbers and bools as such, null for nothing, { "type", "text" } for an object,
/// text forms for all other values. Every error is a PathError, also what an attribute's own code
/// throws. Reading is open; every change is put to the guard first.
///
/// Holds the roots: it goes before they are taken down, and so do the rows that it has handed out.
/// The guard must outlive it. One thread, that of the objects.
class PathAccess {
 public:
   /// Puts the next row into its argument; false at the end. A walk over a collection takes rows
   /// as they are asked for, and may be left at any time; the collection may change meanwhile.
   using Rows = std::function<bool( nlohmann::json &row )>;
   static constexpr std::size_t kMostCompletions = 100;
   static constexpr std::size_t kMostArguments = 16;

   PathAccess( Roots roots, const ChangeGuard &guard )
         : roots_( std::move( roots ) ), guard_( guard ) {}

   /// Of no path, the roots: { "name", "type", "text" }. Of an object, its attributes: { "name",
   /// "id", "kind", "type", "writable" }, and "value", or of a collection "key" (a type) and
   /// "size", or of a function "arguments" ({ "name", "type" } each). Of a collection, its members:
   /// { "key", "value", "path" }.
   Rows list( const std::string &path ) const;
   /// The value, the member, or the number of members of a collection.
   nlohmann::json get( const std::string &path ) const;
   /// An object is given as the path to it.
   void set( const std::string &path, const std::string &value ) const;
   /// Gives what was removed; a member that is not there is an error.
   nlohmann::json remove( const std::string &path ) const;
   /// An argument is VALUE or NAME=VALUE; an object is given as the path to it.
   nlohmann::json call( const std::string &path, const std::vector<std::string> &arguments ) const;
   /// What a path that begins like this can go on to; the first kMostCompletions of them. A name
   /// that needs a key ends with '['.
   std::vector<std::string> completions( const std::string &prefix ) const;

 private:
   Quor::Ptr<Quor::GenericIf> valueFor( const Quor::Type &type, const std::string &text,
                                        const std::string &what ) const;
   Quor::GenericList::Element argument( const Path &path, std::size_t place,
                                        const std::string &text ) const;
   Quor::Ptr<Quor::GenericIf> perform( const Path &path, Quor::AttrOp op,
                                       const Quor::Ptr<Quor::GenericIf> &key,
                                       const Quor::Ptr<Quor::GenericIf> &value ) const;

   const Roots roots_;
   const ChangeGuard &guard_;
};

} // namespace OrloAgent

#endif
