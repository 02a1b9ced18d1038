// The property value shared by print settings and property-list files.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kelvo::store {

class PropertyValue;

/// Raw bytes of a data value.
using PropertyData = std::vector<std::uint8_t>;
/// An ordered list of values.
using PropertyArray = std::vector<PropertyValue>;
/// Keys to values. Property-list dictionaries are unordered; a sorted map
/// makes every file we write come out the same for the same content.
using PropertyDictionary = std::map<std::string, PropertyValue, std::less<>>;

/// One value of a property list: a UTF-8 string, a signed 64-bit integer, a
/// real, a boolean, data bytes, an array or a dictionary. A value owns all of
/// its children; copies are deep. The default value is the empty string.
class PropertyValue {
public:
    enum class Kind { String, Integer, Real, Boolean, Data, Array, Dictionary };

    PropertyValue() = default;
    PropertyValue(std::string text) : mValue(std::move(text)) {}
    PropertyValue(std::string_view text) : mValue(std::string(text)) {}
    PropertyValue(const char* text) : mValue(std::string(text ? text : "")) {}
    PropertyValue(std::int64_t number) : mValue(number) {}
    PropertyValue(int number) : mValue(static_cast<std::int64_t>(number)) {}
    PropertyValue(double number) : mValue(number) {}
    PropertyValue(bool flag) : mValue(flag) {}
    PropertyValue(PropertyData bytes) : mValue(std::move(bytes)) {}
    PropertyValue(PropertyArray items) : mValue(std::move(items)) {}
    PropertyValue(PropertyDictionary entries) : mValue(std::move(entries)) {}

    Kind GetKind() const { return static_cast<Kind>(mValue.index()); }
    bool IsString() const { return GetKind() == Kind::String; }
    bool IsInteger() const { return GetKind() == Kind::Integer; }
    bool IsReal() const { return GetKind() == Kind::Real; }
    bool IsBoolean() const { return GetKind() == Kind::Boolean; }
    bool IsData() const { return GetKind() == Kind::Data; }
    bool IsArray() const { return GetKind() == Kind::Array; }
    bool IsDictionary() const { return GetKind() == Kind::Dictionary; }

    /// The held value when it is of that kind, otherwise null. The pointer
    /// borrows from this value and lives as long as it is not reassigned.
    const std::string* AsString() const { return std::get_if<std::string>(&mValue); }
    const std::int64_t* AsInteger() const { return std::get_if<std::int64_t>(&mValue); }
    const double* AsReal() const { return std::get_if<double>(&mValue); }
    const bool* AsBoolean() const { return std::get_if<bool>(&mValue); }
    const PropertyData* AsData() const { return std::get_if<PropertyData>(&mValue); }
    const PropertyArray* AsArray() const { return std::get_if<PropertyArray>(&mValue); }
    const PropertyDictionary* AsDictionary() const { return std::get_if<PropertyDictionary>(&mValue); }
    std::string* AsString() { return std::get_if<std::string>(&mValue); }
    PropertyArray* AsArray() { return std::get_if<PropertyArray>(&mValue); }
    PropertyDictionary* AsDictionary() { return std::get_if<PropertyDictionary>(&mValue); }

    /// The string, or `fallback` when this is no string.
    std::string_view StringOr(std::string_view fallback) const;
    /// The boolean, or `fallback` when this is no boolean.
    bool BooleanOr(bool fallback) const;
    /// The dictionary entry for `key`, or null when this is no dictionary
    /// or has no such key.
    const PropertyValue* Find(std::string_view key) const;

    /// Same kind and same content, children compared in order. Reals are
    /// equal when they compare equal or are both NaN, so that a value read
    /// back from its own file equals what was written.
    friend bool operator==(const PropertyValue& a, const PropertyValue& b);
    friend bool operator!=(const PropertyValue& a, const PropertyValue& b) { return !(a == b); }

private:
    // The order of the alternatives is the order of Kind.
    std::variant<std::string, std::int64_t, double, bool, PropertyData, PropertyArray, PropertyDictionary> mValue;
};

/// The kind's name as property lists spell their elements ("string",
/// "integer", "real", "boolean", "data", "array", "dict").
const char* KindName(PropertyValue::Kind kind);

} // namespace kelvo::store
