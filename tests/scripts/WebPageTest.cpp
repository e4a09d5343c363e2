// What the bundled server's page does when the server's answers are not what it expects.
#include "tests/support/javascript/ScriptEngine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

// A function of the page, from its first line to the closing brace in the first column.
std::string functionOfThePage(const std::string& head) {
    std::ifstream file(ZORVANE_APP_JS);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    const auto begin = page.find(head);
    const auto end = page.find("\n}\n", begin);
    EXPECT_NE(begin, std::string::npos);
    return page.substr(begin, end + 3 - begin);
}

// Asks with these answers in turn; the number of pauses and what came of it.
std::string asked(const std::string& answers) {
    test_support::ScriptEngine engine;
    (void)engine.evaluate(functionOfThePage("async function untilListed("));
    (void)engine.evaluate("var pauses = 0, result = null, answers = " + answers + ";");
    (void)engine.evaluate("untilListed(async () => { const next = answers.shift(); "
                          "if (next === 'fails') throw new Error(next); return next; }, "
                          "async () => { pauses += 1; }).then(list => { result = list; });");
    return engine.evaluate("pauses + ' ' + JSON.stringify(result)").value_or("an exception");
}

TEST(WebPage, takesTheFirstListThatHoldsSomething) {
    EXPECT_EQ(asked("[[1, 2]]"), "0 [1,2]");
}

TEST(WebPage, pausesAfterEveryAnswerThatIsNone) {
    EXPECT_EQ(asked("['fails', {}, [], null, 'text', {length: 3}, [7]]"), "6 [7]");
}

} // namespace
