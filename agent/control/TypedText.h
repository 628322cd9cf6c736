// Values of any described type as people write them, and as JSON.
#ifndef ORLOAGENT_CONTROL_TYPEDTEXT_H
#define ORLOAGENT_CONTROL_TYPEDTEXT_H

#include "quor/GenericIf.h"

#include <nlohmann/json.hpp>

#include <string>

namespace OrloAgent {

/// Texts of values are no longer than this.
constexpr std::size_t kMostValueText = 256;

/// Reads a whole text as a value of `type`: its text form or, for a record, its fields in the order
/// of its constructor, separated by commas ("10,00:00:5e:00:01:33"). RangeException says what is
/// wrong with it.
Quor::Ptr<Quor::GenericIf> typedValue( const Quor::Type &type, const std::string &text );

/// The shortest text that typedValue() reads as this value.
std::string shortText( const Quor::Ptr<Quor::GenericIf> &value );

/// Null for null, a number or true or false for these, type and text for an object, the text form
/// for the rest. A text may have any bytes: what writes the JSON has to expect that they are no
/// UTF-8.
nlohmann::json jsonOf( const Quor::Ptr<Quor::GenericIf> &value );

} // namespace OrloAgent

#endif
