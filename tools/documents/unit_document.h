#ifndef CORVANE_TOOLS_DOCUMENTS_UNIT_DOCUMENT_H_
#define CORVANE_TOOLS_DOCUMENTS_UNIT_DOCUMENT_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>

#include "tools/documents/unit_image.h"

/// The exported form of an image, a JSON document: each file's raw contents as text, or as
/// hexadecimal digits, and beside it what they decode to. Equal images have equal documents, on any
/// machine and in any time zone.
namespace corvane::tools {

nlohmann::ordered_json documentOf(const UnitImage& image);

/// Returns the document as it is written to a file.
std::string documentText(const UnitImage& image);

/// Returns the image that `text` is the document of. Throws CommandError with the place when it is
/// not a document, or when its decoded parts are not what the raw contents decode to. `name` names
/// the document in messages.
UnitImage imageOfDocument(std::span<const uint8_t> text, const std::string& name);

/// Returns what a property list holds; null when `contents` is not one. Data and dates, which JSON
/// lacks, are {"data": DIGITS} and {"date": null}.
nlohmann::ordered_json propertiesAsJson(std::span<const uint8_t> contents);

/// Returns what a unit is, from its files, under the names that `device show` uses; null for what
/// it lacks.
nlohmann::ordered_json factsOf(const UnitImage& image);

}  // namespace corvane::tools

#endif  // CORVANE_TOOLS_DOCUMENTS_UNIT_DOCUMENT_H_
