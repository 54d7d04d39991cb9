#pragma once

/// @file
/// The names of the property model and of what leans on it, for headers that only pass handles and references along.

#include <cstdint>

namespace kxbase {
class buffer;
class object_refcount;
template <class T>
class ptr_refcount;
} // namespace kxbase

namespace kxcore {

enum class property_kind : std::uint8_t; // NOLINT(readability-identifier-naming): see property.h

class property;
class property_string;
class property_bool;
class property_int;
class property_list;
class property_binary;
class property_constraint;
class property_special;
class properties;

class encoder_network;
class decoder_network;
class encoder_sink;

class constraint;
class constraint_db;

} // namespace kxcore
