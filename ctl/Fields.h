// The members of an object that came from somebody else.
#ifndef ORLOCTL_FIELDS_H
#define ORLOCTL_FIELDS_H

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace OrloCtl {

/// Reads members with the type that is expected; throws Failure of status no, which names the
/// member, when it is missing or another. The object must outlive this. Texts come without
/// anything that would move a terminal's cursor.
class Fields {
 public:
   /// Throws as well when `object` is not one.
   explicit Fields( const nlohmann::json &object );

   bool has( const char *name ) const { return object_.contains( name ); }
   bool isNull( const char *name ) const;
   std::string text( const char *name ) const;
   std::int64_t number( const char *name ) const;
   bool flag( const char *name ) const;
   const nlohmann::json &list( const char *name ) const;
   const nlohmann::json &object( const char *name ) const;
   const nlohmann::json &any( const char *name ) const;

   /// Empty when it is missing or null.
   std::string textIfAny( const char *name ) const;
   /// These must be there, and may be null.
   std::optional<std::int64_t> numberOrNull( const char *name ) const;
   std::optional<bool> flagOrNull( const char *name ) const;

 private:
   const nlohmann::json &checked( const char *name, const char *type,
                                  bool ( nlohmann::json::*is )() const noexcept ) const;

   const nlohmann::json &object_;
};

} // namespace OrloCtl

#endif
