// The property value shared by print settings and property-list files.
#include "store/PropertyValue.h"

#include <cmath>

namespace kelvo::store {

std::string_view PropertyValue::StringOr(std::string_view fallback) const {
    const std::string* text = AsString();
    return text ? std::string_view(*text) : fallback;
}

bool PropertyValue::BooleanOr(bool fallback) const {
    const bool* flag = AsBoolean();
    return flag ? *flag : fallback;
}

const PropertyValue* PropertyValue::Find(std::string_view key) const {
    const PropertyDictionary* entries = AsDictionary();
    if (!entries)
        return nullptr;
    auto it = entries->find(key);
    return it == entries->end() ? nullptr : &it->second;
}

bool operator==(const PropertyValue& a, const PropertyValue& b) {
    if (a.mValue.index() != b.mValue.index())
        return false;
    if (const double* x = a.AsReal()) {
        const double y = *b.AsReal();
        return *x == y || (std::isnan(*x) && std::isnan(y));
    }
    // Arrays and dictionaries compare their children with this operator
    // through the containers' own ==.
    return a.mValue == b.mValue;
}

const char* KindName(PropertyValue::Kind kind) {
    switch (kind) {
    case PropertyValue::Kind::String: return "string";
    case PropertyValue::Kind::Integer: return "integer";
    case PropertyValue::Kind::Real: return "real";
    case PropertyValue::Kind::Boolean: return "boolean";
    case PropertyValue::Kind::Data: return "data";
    case PropertyValue::Kind::Array: return "array";
    case PropertyValue::Kind::Dictionary: return "dict";
    }
    return "unknown";
}

} // namespace kelvo::store
