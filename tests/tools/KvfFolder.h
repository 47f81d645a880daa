#pragma once

#include <tests/tools/RunProgram.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace Skelvar::Tool::Test {

using nlohmann::json;

/// A folder, and the tool at hand inside of it.
class KvfFolder : public ::testing::Test {
protected:
    struct Failure {
        int status;
        std::string arguments;
        std::string word;  ///< of the line of error
    };

    Outcome kvf(const std::string& in_arguments) const
    {
        return runProgram(folder, std::string("'") + KVF_PROGRAM + "' " + in_arguments);
    }
    /// Runs a command that must do its work without a word of error, and gives what it prints.
    std::string done(const std::string& in_arguments) const
    {
        const Outcome outcome = kvf(in_arguments);
        EXPECT_EQ(0, outcome.status) << in_arguments;
        EXPECT_EQ("", outcome.error) << in_arguments;
        return outcome.output;
    }
    json jsonOf(const std::string& in_arguments) const
    {
        return json::parse(done(in_arguments + " --json"));
    }
    /// Runs commands that must fail: the status, nothing on standard output, one line of error that
    /// holds the word.
    void expectFailures(const std::vector<Failure>& in_rows) const
    {
        for (const Failure& row : in_rows) {
            SCOPED_TRACE(row.arguments);
            const Outcome outcome = kvf(row.arguments);
            EXPECT_EQ(row.status, outcome.status);
            EXPECT_EQ("", outcome.output);
            EXPECT_EQ(1, std::count(outcome.error.begin(), outcome.error.end(), '\n'))
                << outcome.error;
            EXPECT_EQ(0u, outcome.error.find("kvf: ")) << outcome.error;
            EXPECT_NE(std::string::npos, outcome.error.find(row.word)) << outcome.error;
        }
    }

    TempFolder folder;
};

}  // namespace Skelvar::Tool::Test
