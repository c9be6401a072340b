#pragma once

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "tests/support/Subprocess.h"

namespace varnock::test {

/// The one document that a command has printed.
inline rapidjson::Document documentOf(const ProcessResult& result) {
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    EXPECT_FALSE(document.HasParseError()) << result.out << result.err;
    return document;
}

}  // namespace varnock::test
