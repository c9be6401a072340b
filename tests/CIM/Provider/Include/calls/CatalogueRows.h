#pragma once

#include <string>
#include <vector>

#include "CIM/Provider/Include/KOLMKey.h"
#include "tests/support/Catalogue.h"

/// What the rows of the catalogue promise of every call.
namespace varnock::test {

inline constexpr unsigned int kAllOnes = 0xFFFFFFFF;

/// Numbers that differ from one another in every byte, so that none can stand for another.
inline const provider::KOLMKey kKey(0x0A1B2C3D, 0x1E2F3041, 0x00525364);
inline constexpr unsigned int kNumber = 0x75869708;
inline constexpr unsigned int kValue = 0xA9BACBDC;
inline constexpr const char* kText = "a text";

inline const std::vector<CatalogueRow>& rows() {
    static const auto all = readCatalogue(VARNOCK_TEST_DATA_DIR "/catalogue.tsv");
    return all;
}

inline bool isIn(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// Whether the call is one command of its own that a reply can be decoded from.
inline bool isSimple(const CatalogueRow& row) {
    return row.hasCommand() && !isIn(row.opcode, "/") && row.result != "none" &&
           row.operation != "getConfMessageLogNoWrap" && row.operation != "getConfAlarmQORVAId" &&
           row.operation != "doClearLog";
}

/// What a call gives that got nothing.
inline std::string nothingOf(const CatalogueRow& row) {
    if (row.returnType == "void") return "void";
    if (row.returnType == "bool" || row.returnType == "cimple::boolean") return "false";
    if (row.returnType == "KOLMKey") return "(4294967295 4294967295 4294967295)";
    if (isIn(row.returnType, "Property")) return "null";
    if (isIn(row.returnType, "vector")) return "[]";
    return "0";
}

/// The failure message of a row, as a trace or an exception has it.
inline std::string failureText(const CatalogueRow& row) {
    const std::string& name = row.operation;
    if (isIn(row.opcode, "0x0C82 / ")) return name + "(): KolmRequest(CM_VInfoScanOpen) failed";
    if (name == "doClearLog") return name + "(0): KolmRequest() failed";
    if (isIn(name, "getStatusTreeNode")) return name + "(a text): KolmRequest() failed";
    if (row.failure == "throws" && isIn(name, "setConf")) return name + "(): kolmRequest() failed";
    return row.traceName() + "(): KolmRequest() failed";
}

/// Rows whose calls send something and report a failed request.
inline bool reportsFailure(const CatalogueRow& row) {
    return row.hasCommand() && row.operation != "getConfAlarmQORVAId" &&
           row.operation != "getConfMessageLogNoWrap";
}

/// Rows whose failure is an exception. Two scans only trace that they found nothing to open.
inline bool throwsOnFailure(const CatalogueRow& row) {
    return isIn(row.failure, "throws") && !isIn(row.note, "ScanOpen failure only traced");
}

}  // namespace varnock::test
