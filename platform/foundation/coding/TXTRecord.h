// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Data.h"

#include <map>
#include <string>
#include <string_view>

namespace foundation {

/// The properties of a service as DNS service discovery carries them in a TXT record (RFC 6763, section 6):
/// for each a byte with its length and the text "key=value".

/// Key to value; the value is any bytes. Of equal keys the first counts; a key without "=" has an empty
/// value; entries without a key are none. What comes after an entry that is longer than the rest of the
/// record is not read.
std::map<std::string, Data> dictionaryFromTXTRecordData(std::string_view record);

/// The record of these properties, in the order of their keys. Each key is printable ASCII without "=", and
/// has with its value at most 254 bytes.
std::string dataFromTXTRecordDictionary(const std::map<std::string, std::string>& properties);

} // namespace foundation
