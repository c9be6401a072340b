#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "CIM/Provider/Include/KOLMKey.h"
#include "catalogue/Table.h"

/// The expected behaviour of each call, taken from its row of the catalogue.
namespace varnock::test {

inline constexpr unsigned int kAllOnes = 0xFFFFFFFF;

/// Arguments that differ in every byte, so that a swapped pair is noticed.
inline const provider::KOLMKey kKey(0x0A1B2C3D, 0x1E2F3041, 0x00525364);
inline constexpr unsigned int kNumber = 0x75869708;
inline constexpr unsigned int kValue = 0xA9BACBDC;
inline constexpr const char* kText = "a text";

using CatalogueRow = catalogue::Row;

inline const std::vector<CatalogueRow>& rows() {
    static const auto table = catalogue::Table::read(VARNOCK_SOURCE_DIR "/catalogue/calls.tsv");
    return table.rows();
}

inline bool isIn(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// True if the call sends several commands one after the other.
inline bool isSequence(const CatalogueRow& row) {
    return isIn(row.opcode, "/") || isIn(row.object, "/") || isIn(row.object, " to ");
}

/// True if the call sends one command and decodes its reply.
inline bool isSimple(const CatalogueRow& row) {
    return hasCommand(row) && !isSequence(row) && row.reply != "none";
}

/// A key for which the row's call sends a command.
inline const provider::KOLMKey& keyFor(const CatalogueRow& row) {
    static const provider::KOLMKey objectZero(kKey.cabinetNr, 0, kKey.opCodeExt);
    return row.sends == "for object 0" ? objectZero : kKey;
}

/// The result of a call whose request failed.
inline std::string nothingOf(const CatalogueRow& row) {
    if (row.returnType == "void") {
        return "void";
    }
    if (row.returnType == "bool" || row.returnType == "cimple::boolean") {
        return "false";
    }
    if (row.returnType == "KOLMKey") {
        return "(4294967295 4294967295 4294967295)";
    }
    if (isIn(row.returnType, "Property")) {
        return "null";
    }
    if (isIn(row.returnType, "vector")) {
        return "[]";
    }
    return "0";
}

inline bool isSetter(const CatalogueRow& row) {
    return isIn(row.data, " value");
}

/// Rows whose failure is an exception.
inline bool throwsOnFailure(const CatalogueRow& row) {
    return row.failure == "throws" || row.failure == "throws unless tolerated";
}

/// The failure message of a row, as in the trace or the exception.
inline std::string failureText(const CatalogueRow& row) {
    const std::string name(traceName(row));
    if (row.reply == "components") {
        return name + "(): KolmRequest(CM_VInfoScanOpen) failed";
    }
    if (row.object == "0 / 1") {
        return name + "(0): KolmRequest() failed";
    }
    if (row.data == "text name") {
        return name + "(a text): KolmRequest() failed";
    }
    if (isSetter(row) && throwsOnFailure(row)) {
        return name + "(): kolmRequest() failed";
    }
    return name + "(): KolmRequest() failed";
}

/// Rows whose calls send a command and report a failed request.
inline bool reportsFailure(const CatalogueRow& row) {
    return hasCommand(row) && row.failure != "silent";
}

}  // namespace varnock::test
