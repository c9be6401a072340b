#pragma once

#include "transport/SipJson.h"
#include "transport/record/TextSink.h"

/// Internal.
namespace varnock {

/// The text of a record in memory of the caller, such as a frame: Export() and Import() without a
/// copy. The text is UTF-8, as the strings of the record are.
class RecordText {
  public:
    static void write(const SipJson& record, TextSink& sink);
    /// Uses up the text: it may be modified.
    static void import(SipJson& record, char* text);

    /// @name The two steps of an import
    /// @{

    /// Imports a text with one plain command. False for any other text, null among them; the record
    /// is then unchanged.
    [[nodiscard]] static bool importPlain(SipJson& record, const char* text);
    /// Imports any text, and uses it up.
    static void importTree(SipJson& record, char* text);
    /// @}
};

}  // namespace varnock
