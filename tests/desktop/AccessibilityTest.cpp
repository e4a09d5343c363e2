// What a screen reader gets to know of the real application's window, and how a keyboard alone gets
// around in it.
#include "tests/desktop/session/Accessibility.h"

#include "tests/desktop/ApplicationTest.h"
#include "tests/desktop/session/Clipboard.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <fstream>

namespace desktop {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::Field;
using ::testing::HasSubstr;

class Accessible : public ApplicationTest {
  protected:
    // With a server that shows this page, until the window comes to have the colour.
    void launchWithPage(std::string_view page, Colour colour) {
        const auto folder = session.dataHome() / "app.zorvane/wrapped";
        std::filesystem::create_directories(folder);
        std::filesystem::permissions(folder.parent_path(), std::filesystem::perms::owner_all);
        std::ofstream(folder / "index.html") << page;
        session.environment["OSTRA_SIDECAR"] = ZORVANE_WRAPPER;
        ASSERT_NO_FATAL_FAILURE(launchUntilReady());
        ASSERT_TRUE(comesToHave(colour));
        session.focus(window().value_or(""));
    }
    [[nodiscard]] bool comesToHave(Colour colour,
                                   std::chrono::milliseconds limit = patience) const {
        return eventually(
            [&] {
                const auto shot = session.screenshot(window().value_or("root"));
                return shot && shot->share(colour, 2) > 0.5;
            },
            limit);
    }
    [[nodiscard]] bool focusComesTo(const std::string& name,
                                    std::chrono::milliseconds limit = patience) const {
        return eventually([&] { return accessibility.focusedName() == name; }, limit);
    }

    Accessibility accessibility{session};
};

TEST_F(Accessible, theApplicationIsCalledZorvane) {
    launchUntilReady();
    EXPECT_TRUE(eventually([&] { return !accessibility.objects().empty(); }));
    EXPECT_THAT(accessibility.objects(), Each(Field(&AccessibleObject::application, "Zorvane")));
    // Window managers and desktop entries know it by its id all the same.
    EXPECT_THAT(session.ask({"xprop", "-id", window().value_or(""), "WM_CLASS"}),
                HasSubstr("\"app.zorvane\"\n"));
}

TEST_F(Accessible, theButtonsOfTheHeaderBarHaveNamesAndDescriptions) {
    launchUntilReady();
    const auto says = [&](const std::string& name, const char* description) {
        return eventually([&] {
            return ::testing::Matches(
                Contains(AllOf(Field(&AccessibleObject::role, HasSubstr("button")),
                               Field(&AccessibleObject::name, name),
                               Field(&AccessibleObject::description, HasSubstr(description)))))(
                accessibility.objects());
        });
    };
    EXPECT_TRUE(says("Zorvane", "Server: Online"));
    EXPECT_TRUE(says("Main Menu", "Commands"));
}

// A page with two fields; its colour says which one has the keyboard, or that none has.
class Keyboard : public Accessible {
  protected:
    static constexpr Colour first{.red = 80, .green = 0, .blue = 0};
    static constexpr Colour last{.red = 0, .green = 80, .blue = 0};
    static constexpr Colour pasted{.red = 0, .green = 80, .blue = 80};
    static constexpr Colour none{.red = 80, .green = 80, .blue = 80};
    static constexpr std::string_view page = R"html(<!doctype html><meta charset="utf-8">
<body style="margin:0;background:rgb(0,0,80)"><input id="first"><input id="last"><p>something to read</p>
<script>
const show = colour => document.body.style.background = colour;
document.querySelector('#first').onfocus = () => show('rgb(80,0,0)');
document.querySelector('#last').onfocus = () => show('rgb(0,80,0)');
document.onpaste = () => show('rgb(0,80,80)');
window.onblur = () => show('rgb(80,80,80)');
</script></body>)html";

    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(launchWithPage(page, {.red = 0, .green = 0, .blue = 80}));
        // The first keys of a window that has just come may be lost.
        ASSERT_TRUE(eventually([&] {
            session.pressKey("Tab");
            return comesToHave(first, std::chrono::seconds(2));
        }));
    }
};

TEST_F(Keyboard, leadsFromThePageToTheHeaderBarAndBack) {
    session.pressKey("Tab");
    ASSERT_TRUE(comesToHave(last));
    session.pressKey("Tab");
    EXPECT_TRUE(comesToHave(none));
    EXPECT_TRUE(focusComesTo("Zorvane")) << accessibility.focusedName();
    session.pressKey("Tab");
    EXPECT_TRUE(focusComesTo("Main Menu")) << accessibility.focusedName();
    // The page as a whole is a step of its own.
    const auto comesBy = [&](const char* key, Colour colour) {
        return eventually([&] {
            session.pressKey(key);
            return comesToHave(colour, std::chrono::seconds(2));
        });
    };
    EXPECT_TRUE(comesBy("Tab", first));
    EXPECT_TRUE(comesBy("shift+Tab", none));
    EXPECT_TRUE(focusComesTo("Main Menu")) << accessibility.focusedName();
}

// Where Tab would end after the page's last element, WebKitGTK has a text view that nobody sees.
TEST_F(Keyboard, leavesTheEditCommandsToThePageAfterIt) {
    session.pressKey("Tab");
    ASSERT_TRUE(comesToHave(last));
    session.pressKey("Tab");
    ASSERT_TRUE(comesToHave(none));
    const auto copied = [&] { return clipboardText(session.environment.at("DISPLAY")); };
    session.pressKey("ctrl+a");
    session.pressKey("ctrl+c");
    EXPECT_TRUE(eventually([&] { return copied() == "\nsomething to read"; }))
        << copied().value_or("nothing");
    session.pressKey("ctrl+v");
    EXPECT_TRUE(comesToHave(pasted));
}

TEST_F(Keyboard, copiesNothingOverTheClipboardWhereNothingIsSelected) {
    const auto copied = [&] { return clipboardText(session.environment.at("DISPLAY")); };
    session.pressKey("ctrl+a"); // in the first field, which has nothing in it
    session.pressKey("Tab");
    ASSERT_TRUE(comesToHave(last));
    session.pressKey("a");
    session.pressKey("ctrl+a");
    session.pressKey("ctrl+c");
    ASSERT_TRUE(eventually([&] { return copied() == "a"; })) << copied().value_or("nothing");
    session.pressKey("Delete");
    session.pressKey("Tab");
    ASSERT_TRUE(comesToHave(none));
    ASSERT_TRUE(focusComesTo("Zorvane")) << accessibility.focusedName();
    for (const char* key : {"ctrl+c", "ctrl+x"}) {
        session.pressKey(key);
    }
    // What comes after them has been heard: so have they.
    session.pressKey("ctrl+v");
    EXPECT_TRUE(comesToHave(pasted));
    EXPECT_EQ(copied(), "a");
}

// What is selected where only a part of the page knows of it.
struct Selection {
    const char* name;
    const char* body;
    const char* select; // a script that calls selected() once it has
    const char* copied;
};
void PrintTo(const Selection& selection, std::ostream* out) {
    *out << selection.name;
}

class EditMenu : public Accessible, public ::testing::WithParamInterface<Selection> {
  protected:
    // "Edit" is the first of the main menu, and has the keyboard when that opens.
    [[nodiscard]] bool chooses(const std::string& command) const {
        std::string at;
        const auto leadsOn = [&](const char* key) {
            const std::string before = accessibility.focusedName();
            session.pressKey(key);
            return eventually(
                [&] { return !(at = accessibility.focusedName()).empty() && at != before; },
                std::chrono::seconds(2));
        };
        return eventually([&] {
            if (!leadsOn("F10") || at != "Edit") {
                session.pressKey("Escape");
                return false;
            }
            session.pressKey("Return"); // what leads back has the keyboard then: "Edit", too
            for (int row = 0; row < 8 && at != command && leadsOn("Down"); ++row) {
            }
            session.pressKey(at == command ? "Return" : "Escape");
            return at == command;
        });
    }
};

TEST_P(EditMenu, copiesWhatIsSelected) {
    const auto page = fmt::format(R"html(<!doctype html><meta charset="utf-8"><body>{}<script>
const selected = () => document.body.style.background = 'rgb(0,0,80)';
{}
</script></body>)html",
                                  GetParam().body, GetParam().select);
    ASSERT_NO_FATAL_FAILURE(launchWithPage(page, {.red = 0, .green = 0, .blue = 80}));
    EXPECT_TRUE(chooses("Copy"));
    const auto copied = [&] { return clipboardText(session.environment.at("DISPLAY")); };
    EXPECT_TRUE(eventually([&] { return copied() == GetParam().copied; }))
        << copied().value_or("nothing");
}

constexpr Selection selections[] = {
    {.name = "inAField",
     .body = R"html(<input value="in a field">)html",
     .select = R"js(
document.querySelector('input').focus();
document.querySelector('input').select();
selected();)js",
     .copied = "in a field"},
    {.name = "inAFrame",
     .body = "<iframe></iframe>",
     .select = R"js(
const frame = document.querySelector('iframe');
frame.onload = () => {
  frame.focus();
  frame.contentWindow.getSelection().selectAllChildren(frame.contentDocument.body);
  selected();
};
frame.srcdoc = '<p>in a frame</p>';)js",
     .copied = "in a frame"},
    {.name = "inTheTreeOfAnElement",
     .body = "<div></div>",
     .select = R"js(
const tree = document.querySelector('div').attachShadow({mode: 'open'});
tree.innerHTML = '<input value="in an element">';
tree.firstChild.focus();
tree.firstChild.select();
selected();)js",
     .copied = "in an element"},
    {.name = "inTheHiddenTreeOfAnElement",
     .body = "<hidden-field></hidden-field>",
     .select = R"js(
customElements.define('hidden-field', class extends HTMLElement {
  connectedCallback() {
    const tree = this.attachShadow({mode: 'closed'});
    tree.innerHTML = '<input value="in a hidden field">';
    tree.firstChild.focus();
    tree.firstChild.select();
  }
});
selected();)js",
     .copied = "in a hidden field"},
    {.name = "anImageAlone",
     .body =
         R"html(<p><img alt="a picture" src="data:image/gif;base64,R0lGODlhAQABAIAAAP8AAP///yH5BAAAAAAALAAAAAABAAEAAAICRAEAOw=="></p>)html",
     .select = R"js(
getSelection().selectAllChildren(document.querySelector('p'));
selected();)js",
     .copied = "a picture"},
};
INSTANTIATE_TEST_SUITE_P(Selections, EditMenu, ::testing::ValuesIn(selections),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace desktop
