// SPDX-License-Identifier: MIT
//
// The language server: in this process for what it answers, as a program for how it lives.
#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>
#include <set>

#include "cli/lsp/Kt_MessageReader.h"
#include "cli/lsp/Kt_Server.h"
#include "cli/lsp/Kt_SourceText.h"
#include "cli_test_util.h"

namespace {

using Json = nlohmann::json;
using kt::cli::lsp::MessageReader;
using kt::cli::lsp::Server;
using kt::cli::lsp::SourceText;

// A text with an '@' where the cursor is.
struct Marked {
  std::string text;
  Json position;

  explicit Marked(std::string marked) : text(std::move(marked)) {
    const std::size_t at = text.find('@');
    if (at == std::string::npos) return;
    text.erase(at, 1);
    const SourceText before(Kt_WString::FromUtf8(text.substr(0, at)));
    const auto place = before.PositionOf(before.Size());
    position = {{"line", place.line}, {"character", place.character}};
  }
};

// An editor that has started the server.
class Editor {
 public:
  explicit Editor(Json options = nullptr, Json capabilities = Json::object())
      : server_([this](const std::string& text) { sent_.push_back(Json::parse(text)); }) {
    Ask("initialize", {{"processId", nullptr},
                       {"rootUri", "file://" + folder_.Path("")},
                       {"capabilities", std::move(capabilities)},
                       {"initializationOptions", std::move(options)}});
    Tell("initialized", Json::object());
  }

  const TestFolder& Folder() const { return folder_; }
  Server& TheServer() { return server_; }
  std::string Uri(const std::string& name) const { return "file://" + folder_.Path(name); }

  // Sends everything that is due.
  void Work() {
    while (server_.HasWork()) server_.Work();
  }
  void Tell(const std::string& method, const Json& params) {
    server_.Receive(Json{{"jsonrpc", "2.0"}, {"method", method}, {"params", params}}.dump());
    Work();
  }
  // The result; of an error its code and message.
  Json Ask(const std::string& method, const Json& params) {
    const int id = ++last_id_;
    sent_.clear();
    server_.Receive(
        Json{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}}.dump());
    Work();
    for (const Json& message : sent_) {
      if (message.value("id", Json()) == id) {
        return message.contains("result") ? message["result"] : message["error"];
      }
    }
    ADD_FAILURE() << method << " is not answered";
    return nullptr;
  }
  // The same in a document that is open, at its cursor.
  Json AskAt(const std::string& method, Json more = Json::object()) {
    more["textDocument"] = {{"uri", uri_}};
    more["position"] = position_;
    return Ask("textDocument/" + method, more);
  }
  void Open(const std::string& marked, const std::string& name = "a.kts") {
    const Marked document(marked);
    uri_ = Uri(name);
    position_ = document.position;
    sent_.clear();
    Tell("textDocument/didOpen", {{"textDocument",
                                   {{"uri", uri_},
                                    {"languageId", "kts"},
                                    {"version", ++version_},
                                    {"text", document.text}}}});
  }
  void Change(Json changes) {
    sent_.clear();
    Tell("textDocument/didChange", {{"textDocument", {{"uri", uri_}, {"version", ++version_}}},
                                    {"contentChanges", std::move(changes)}});
  }
  void ChangeAll(const std::string& text) { Change(Json::array({{{"text", text}}})); }

  // What was published last of a file, as "line:character-character code", one a line; "none" when
  // nothing was.
  std::string Problems(const std::string& name = "a.kts") {
    std::string shown = "none";
    for (const Json& message : sent_) {
      if (message.value("method", "") != "textDocument/publishDiagnostics") continue;
      const Json& params = message["params"];
      if (params["uri"] != Uri(name)) continue;
      shown.clear();
      for (const Json& one : params["diagnostics"]) {
        shown += (shown.empty() ? "" : "\n") + Place(one["range"]) + " " +
                 one["code"].get<std::string>();
      }
      if (Uri(name) == uri_) {
        EXPECT_EQ(params["version"], version_);
      }
    }
    return shown;
  }

  static std::string Place(const Json& range) {
    const auto text = [](const Json& of, const char* name) {
      return std::to_string(of[name].get<int>());
    };
    const Json& end = range["end"];
    std::string shown = text(range["start"], "line") + ":" + text(range["start"], "character");
    if (range["start"]["line"] != end["line"])
      shown += "-" + text(end, "line") + ":";
    else
      shown += "-";
    return shown + text(end, "character");
  }
  // "name:place" of each location, sorted.
  std::string Places(const Json& locations) const {
    std::set<std::string> shown;
    for (const Json& one : locations) {
      const auto uri = one["uri"].get<std::string>();
      shown.insert(uri.substr(uri.rfind('/') + 1) + ":" + Place(one["range"]));
    }
    std::string all;
    for (const std::string& one : shown) all += (all.empty() ? "" : " ") + one;
    return all;
  }

 private:
  const TestFolder folder_;
  std::vector<Json> sent_;
  Server server_;
  int last_id_ = 0;
  int version_ = 0;
  std::string uri_;
  Json position_;
};

// Life --------------------------------------------------------------------------------------------

// What a server that has got these messages has said: ids with "ok" or the code of the error, and
// the exit status.
std::string Conversation(const std::vector<std::string>& messages, bool at_once = false) {
  std::string said;
  Server server([&](const std::string& text) {
    const Json message = Json::parse(text);
    if (!message.contains("id") || message.contains("method")) return;
    said += (said.empty() ? "" : " ") + message["id"].dump() + ":";
    said += message.contains("error") ? message["error"]["code"].dump() : "ok";
  });
  for (const std::string& message : messages) {
    server.Receive(message);
    while (!at_once && server.HasWork()) server.Work();
  }
  while (server.HasWork()) server.Work();
  if (server.ExitStatus()) said += " exit " + std::to_string(*server.ExitStatus());
  return said;
}

const char* const kInitialize = R"({"id":1,"method":"initialize","params":{"capabilities":{}}})";

TEST(LspServer, AnswersInEveryOrder) {
  const std::string kHover = R"({"id":2,"method":"textDocument/hover","params":{}})";
  const std::string kShutdown = R"({"id":3,"method":"shutdown"})";
  const std::string kExit = R"({"method":"exit"})";
  const struct {
    std::vector<std::string> messages;
    const char* said;
  } kRows[] = {
      {{kInitialize, kShutdown, kExit}, "1:ok 3:ok exit 0"},
      {{kInitialize, kExit}, "1:ok exit 1"},
      {{kExit}, " exit 1"},
      {{kHover, kInitialize}, "2:-32002 1:ok"},
      {{kShutdown, kInitialize, kShutdown, kHover}, "3:-32002 1:ok 3:ok 2:-32600"},
      {{kInitialize, kInitialize}, "1:ok 1:-32600"},
      {{kInitialize, R"({"id":"a","method":"nope"})", R"({"id":7,"method":"$/nope"})"},
       "1:ok \"a\":-32601 7:-32601"},
      {{kInitialize, R"({"method":"nope"})", R"({"id":4,"result":null})"}, "1:ok"},
      {{kInitialize, kHover}, "1:ok 2:-32602"},
      {{R"({"id":1,"method":"initialize"})", kInitialize}, "1:-32602 1:ok"},
      {{R"({"id":1,"method":"initialize","params":{"initializationOptions":{"data":{"t":1}}}})",
        kHover},
       "1:-32602 2:-32002"},
      // What is no request at all.
      {{"", "{", "[]", "1", R"({"id":5})", R"({"id":[1],"method":"initialize"})",
        R"({"id":null,"method":1})", "\"\\ud800\"", "\"\\ud83d", "{\"a\":\"\xff\"}",
        std::string(300000, '[')},
       "null:-32700 null:-32700 null:-32600 null:-32600 null:-32600 null:-32600 null:-32600 "
       "null:-32700 null:-32700 null:-32700"},
  };
  for (const auto& row : kRows) EXPECT_EQ(Conversation(row.messages), row.said);
}

TEST(LspServer, CancelsWhatStillWaits) {
  const std::string kSlow = R"({"id":8,"method":"textDocument/hover","params":{}})";
  const std::string kCancel = R"({"method":"$/cancelRequest","params":{"id":8}})";
  EXPECT_EQ(Conversation({kInitialize, kSlow, kCancel}, true), "1:ok 8:-32800");
  EXPECT_EQ(Conversation({kInitialize, kCancel, kSlow}, true), "1:ok 8:-32602");
  EXPECT_EQ(Conversation({kInitialize, kSlow, kCancel}), "1:ok 8:-32602") << "answered already";
}

TEST(LspServer, CutsTheStreamIntoMessages) {
  const struct {
    std::string bytes;
    const char* found;
  } kRows[] = {
      {"Content-Length: 2\r\n\r\n{}Content-Length: 1\r\n\r\n1", "{} 1"},
      {"content-length:3 \nContent-Type: x; charset=utf-8\n\nabc", "abc"},
      {"Content-Length: 0\r\n\r\nContent-Length: 1\r\n\r\nx", " x"},
      {"Content-Length: x\r\n\r\nContent-Length: 1\r\n\r\na", "! a"},
      {"Content-Length: -1\r\n\r\nX: y\r\n\r\nContent-Length: 1\r\n\r\na", "! ! a"},
      {"Content-Length: 99999999999999999999999\r\n\r\nContent-Length: 1\r\n\r\na", "! a"},
      {"Content-Length: 5\r\n\r\nab", ""},
      {"Content-Len", ""},
      {std::string(9000, 'x'), "!"},
      {"Content-Length: 67108865\r\n\r\n" + std::string(67108865, 'x') +
           "Content-Length: 1\r\n\r\na",
       "! a"},
  };
  for (const auto& row : kRows) {
    for (const std::size_t step : {std::size_t{1}, std::size_t{7}, row.bytes.size()}) {
      if (row.bytes.size() / step > 100000) continue;
      MessageReader reader;
      std::string found;
      bool is_first = true;
      for (std::size_t at = 0; at < row.bytes.size(); at += step) {
        reader.Feed(std::string_view(row.bytes).substr(at, step));
        std::string message;
        for (auto one = reader.Take(message); one != MessageReader::Found::kNothing;
             one = reader.Take(message)) {
          found += (std::exchange(is_first, false) ? "" : " ");
          found += one == MessageReader::Found::kFault ? "!" : message;
        }
      }
      EXPECT_EQ(found, row.found) << row.bytes.substr(0, 80) << " by " << step;
    }
  }
}

// Texts -------------------------------------------------------------------------------------------

// Incremental changes against the same changes of a plain text.
TEST(LspServer, ChangesAreThoseOfTheText) {
  std::mt19937 random(20261122);
  const auto below = [&](std::size_t count) { return static_cast<int>(random() % count); };
  const std::u16string kPieces[] = {u"a", u"\n", u"\r\n", u"\r", u"\U0001F600", u"é", u"  ", u""};
  SourceText text;
  std::u16string model;
  for (int turn = 0; turn < 3000; ++turn) {
    const kt_long a = below(model.size() + 1);
    const kt_long b = std::min(a + below(4), static_cast<int>(model.size()));
    // A place comes back from its position, except inside of a line end.
    const kt_long start = text.OffsetOf(text.PositionOf(a));
    const kt_long end = std::max(start, text.OffsetOf(text.PositionOf(b)));
    const bool splits_end = a > 0 && model.substr(a - 1, 2) == u"\r\n";
    EXPECT_EQ(start, splits_end ? a - 1 : a);
    const std::u16string& piece = kPieces[below(std::size(kPieces))];
    ASSERT_TRUE(text.Replace({start, end}, piece));
    model.replace(start, end - start, piece);
    ASSERT_EQ(text.Text(), model);
    if (model.size() > 200) text = SourceText(), model.clear();
  }
  const SourceText lines(u"ab\r\n\U0001F600c\rd");
  EXPECT_EQ(lines.LineCount(), 3);
  EXPECT_EQ(lines.OffsetOf({1, 2}), 6) << "a pair is two units";
  EXPECT_EQ(lines.OffsetOf({0, 99}), 2);
  EXPECT_EQ(lines.OffsetOf({99, 0}), lines.Size());
}

TEST(LspServer, TellsWhatIsWrongWhileTyping) {
  Editor editor;
  editor.Open(
      "function main() {\n  var \xF0\x9F\x98\x80 = twise(1); print('\xF0\x9F\x98\x80', x);\n}\n");
  EXPECT_EQ(editor.Problems(), "1:11-16 unknown-function\n1:33-34 unknown-variable");
  const auto change = [](int line, int from, int to, const char* text) {
    return Json{{"range",
                 {{"start", {{"line", line}, {"character", from}}},
                  {"end", {{"line", line}, {"character", to}}}}},
                {"text", text}};
  };
  editor.Change({change(1, 33, 34, "\xF0\x9F\x98\x80"), change(1, 11, 16, "abs")});
  EXPECT_EQ(editor.Problems(), "");
  editor.Change(Json::array({change(1, 33, 99, "")}));
  EXPECT_EQ(editor.Problems().substr(0, 2), "1:");
  // Half a pair comes as an escape.
  std::string half = Json{{"method", "textDocument/didChange"},
                          {"params",
                           {{"textDocument", {{"uri", editor.Uri("a.kts")}}},
                            {"contentChanges", {{{"text", "var a = '@', b = c;"}}}}}}}
                         .dump();
  editor.TheServer().Receive(half.replace(half.find('@'), 1, "\\ud83d"));
  editor.Work();
  EXPECT_EQ(editor.Problems(), "0:17-18 unknown-variable");
  editor.Tell("textDocument/didClose", {{"textDocument", {{"uri", editor.Uri("a.kts")}}}});
  EXPECT_EQ(editor.AskAt("hover")["code"], -32602) << "it is not open any more";
}

TEST(LspServer, IncludesAreOneScript) {
  Editor editor;
  editor.Folder().Write("lib.kts", "function twice(x) { return x * 2; }\nfunction old() { }\n");
  editor.Open("#include \"lib.kts\"\nfunction main() { print(twi@ce(2), old()); }\n");
  EXPECT_EQ(editor.Problems(), "");
  EXPECT_EQ(editor.Places(Json::array({editor.AskAt("definition")})), "lib.kts:0:9-14");
  EXPECT_EQ(
      editor.Places(editor.AskAt("references", {{"context", {{"includeDeclaration", true}}}})),
      "a.kts:1:24-29 lib.kts:0:9-14");
  EXPECT_EQ(editor.AskAt("rename", {{"newName", "double"}})["changes"].size(), 2u);
  // In the editor the included file is another one than on the disk.
  editor.Open("function tw@ice(x) { return x * 2; }\nfunction g() { return RATE; }\n", "lib.kts");
  EXPECT_EQ(editor.Problems("lib.kts"), "1:22-26 unknown-variable");
  EXPECT_EQ(editor.Problems("a.kts"), "1:34-37 unknown-function");
  EXPECT_EQ(editor.Places(editor.AskAt("references", {{"context", Json::object()}})),
            "a.kts:1:24-29");
  editor.ChangeAll("function old() { return 1; }\n");
  EXPECT_EQ(editor.Problems("a.kts"), "1:24-29 unknown-function");
  editor.ChangeAll("function old( { return 1; }\n");
  EXPECT_EQ(editor.Problems("lib.kts").substr(0, 2), "0:");
  editor.Tell("textDocument/didClose", {{"textDocument", {{"uri", editor.Uri("lib.kts")}}}});
  EXPECT_EQ(editor.Problems("a.kts"), "") << "as on the disk";
  // Only a folder of the script, the editor or the settings may be reached.
  editor.Open("#include \"nowhere.kts\"\n#include \"/etc/passwd\"\n", "b.kts");
  EXPECT_EQ(editor.Problems("b.kts"), "0:0-22 0\n1:0-22 0");
}

// Names -------------------------------------------------------------------------------------------

// Where a name is declared, and where else it stands. An '@' is in the name.
TEST(LspServer, FindsWhatNamesStandFor) {
  const struct {
    const char* script;
    const char* definition;
    const char* uses;  // its declarations too
  } kRows[] = {
      // Names are the same in any case; blocks end, functions and variables are apart.
      {"var Rate = 1;\nfunction f() { return RA@TE + rate; }", "0:4-8", "0:4-8 1:22-26 1:29-33"},
      {"function f(a) { { var a = 2; print(@a); } return a; }", "0:22-23", "0:22-23 0:35-36"},
      {"function f(a) { { var a = 2; print(a); } return @a; }", "0:11-12", "0:11-12 0:48-49"},
      {"function x(x) { return x@(x); }", "0:9-10", "0:23-24 0:9-10"},
      {"function f() { n = 1; if (n) { @n = 2; } return n; }", "0:15-16",
       "0:15-16 0:26-27 0:31-32 0:47-48"},
      // What a loop sets further down is known in its next turn.
      {"function f(k) { while (k) { if (k) print(la@st); last = k; k--; } }", "0:48-52",
       "0:41-45 0:48-52"},
      {"function f() { for (var i = 0; i < 3; i++) print(i); return @i; }", "0:24-25",
       "0:24-25 0:31-32 0:38-39 0:49-50 0:60-61"},
      {"function f() { var t = [1]; t@[0] = t[0] + 1; return t; }", "0:19-20",
       "0:19-20 0:28-29 0:35-36 0:52-53"},
      // Comments and pairs in front of it move no place.
      {"function f(\xF0\x9F\x98\x80) { return /* \xF0\x9F\x98\x80 */ \xF0\x9F\x98\x80@; }",
       "0:11-13", "0:11-13 0:33-35"},
      // Not of the script.
      {"function f() { return ab@s(1); }", "", "0:22-25"},
      {"function f(o) { return o.na@me; }", "", ""},
      {"function f(o) { return 'o @ o'; } // f", "", ""},
      // In a script with errors everything around them is known.
      {"function f() {\n  var sum = 1;\n  su@m += ;\n  foo(;\n  if (x {\n    sum = 2;\n  }\n"
       "  return sum;\n}",
       "1:6-9", "1:6-9 2:2-5 5:4-7 7:9-12"},
      {"function f() {\n  g(1;\n\nfunction g(a) { return @a; }", "3:11-12", "3:11-12 3:23-24"},
      {"function f(a) {\n  print(\"abc);\n  return @a;\n}\nfunction g() { }", "0:11-12",
       "0:11-12 2:9-10"},
      {"nonsense;\nvar a = 1;\nfunction g() { return @a; }", "1:4-5", "1:4-5 2:22-23"},
  };
  Editor editor;
  for (const auto& row : kRows) {
    editor.Open(row.script);
    const auto places = [&](const Json& found) {
      std::string shown = editor.Places(found);
      for (std::size_t at = 0; (at = shown.find("a.kts:")) != std::string::npos;)
        shown.erase(at, 6);
      return shown;
    };
    const Json definition = editor.AskAt("definition");
    EXPECT_EQ(definition.is_null() ? "" : places(Json::array({definition})), row.definition)
        << row.script;
    const Json context = {{"includeDeclaration", true}};
    EXPECT_EQ(places(editor.AskAt("references", {{"context", context}})), row.uses) << row.script;
  }
}

TEST(LspServer, RenamesOnlyWhatStaysTheSame) {
  const struct {
    const char* script;
    const char* name;
    const char* answer;  // the places, or a part of the reason
  } kRows[] = {
      {"function f(@a) { return a; }", "b", "0:11-12 0:23-24"},
      {"function @f(a) { return f(a); }", "g", "0:23-24 0:9-10"},
      {"function f(@a, b) { return a; }", "B", "something else"},
      {"var g;\nfunction f(@a) { return a; }", "g", "something else"},
      {"var @g;\nfunction f(a) { return a + g; }", "a", "something else"},
      {"function f() { { var @a = 1; print(a); } { var b = 2; print(b); } }", "b",
       "0:21-22 0:34-35"},
      {"function @f() { }", "abs", "something else"},
      {"function f(@a) { return x + a; }", "x", "something else"},
      {"function f(@a) { return a; }", "while", "no name"},
      {"function f(@a) { return a; }", "1a", "no name"},
      {"function f(@a) { return a; }", "", "no name"},
      {"function f(@a) { return eval('a + 1') + a; }", "b", "eval()"},
      {"function f(@a) { return a +; }", "b", "errors"},
      {"function f() { return @abs(1); }", "b", "only functions and variables"},
      {"function f() { @return 1; }", "b", "only functions and variables"},
  };
  Editor editor;
  for (const auto& row : kRows) {
    editor.Open(row.script);
    const Json answer = editor.AskAt("rename", {{"newName", row.name}});
    if (answer.contains("changes")) {
      std::set<std::string> places;
      for (const Json& edit : answer["changes"][editor.Uri("a.kts")]) {
        EXPECT_EQ(edit["newText"], row.name);
        places.insert(Editor::Place(edit["range"]));
      }
      std::string shown;
      for (const std::string& place : places) shown += (shown.empty() ? "" : " ") + place;
      EXPECT_EQ(shown, row.answer) << row.script;
    } else {
      EXPECT_NE(answer.value("message", "").find(row.answer), std::string::npos)
          << row.script << answer;
    }
  }
  editor.Open("function f(va@lue) { return value; }");
  const Json prepared = editor.AskAt("prepareRename");
  EXPECT_EQ(Editor::Place(prepared["range"]) + " " + prepared.value("placeholder", ""),
            "0:11-16 value");
}

// Help and completion -----------------------------------------------------------------------------

Json WithOrders(const Editor& editor) {
  return {{"data", {{"orders", editor.Folder().Write("orders.csv", "id,price,qty\n1,2.5,3\n")}}}};
}

TEST(LspServer, CompletesWhatFits) {
  const struct {
    const char* script;
    std::vector<std::string> has;
    std::vector<std::string> lacks;
  } kRows[] = {
      {"var RATE;\nfunction f(arg) { var one; { var inner; } @ }\nfunction g(far) { }",
       {"RATE", "arg", "one", "abs", "print", "f", "g", "while", "orders"},
       {"inner", "far", "price", "Sum"}},
      {"function f(a) { var later@; }", {}, {"a", "abs"}},
      {"function f() { orders.@ }", {"price", "qty", "Sum", "rowcount"}, {"abs", "f", "while"}},
      {"function f() { orders[0].pr@ }", {"price"}, {"abs", "Sum"}},
      {"function f(x) { x.@\n  print(x);\n}", {"Sum", "rowcount"}, {"price", "abs"}},
      {"function f(orders) { orders.@ }", {"Sum"}, {"price"}},
      {"function f(n) { orders.Sum('pri@ * qty'); }", {"price", "rowidx", "abs"}, {"n", "f"}},
      {"function f() { orders.Sum(\"pri@", {"price", "rowidx"}, {"f"}},
      {"function f() { orders.GetColumn(0, '@'); }", {"price"}, {"abs", "rowidx"}},
      {"function f() { print('@'); // @", {}, {"price", "abs"}},
      {"function f(a) { // a@\n}", {}, {"a"}},
      {"function f(a) { x = 12@; }", {}, {"a"}},
      {"function f() { return 12.@; }", {}, {"abs"}},
      {"function f(a) {\n  var b = 1;\n  g(a, @\n}\nfunction g(x, y) { }", {"a", "b", "g"}, {"x"}},
      {"@", {"function", "var"}, {}},
  };
  const Editor maker;
  Editor editor(WithOrders(maker));
  for (const auto& row : kRows) {
    editor.Open(row.script);
    std::set<std::string> labels;
    const Json items = editor.AskAt("completion")["items"];
    for (const Json& item : items) labels.insert(item["label"].get<std::string>());
    for (const std::string& one : row.has) EXPECT_TRUE(labels.contains(one)) << row.script << one;
    for (const std::string& one : row.lacks)
      EXPECT_FALSE(labels.contains(one)) << row.script << one;
    EXPECT_TRUE(!row.has.empty() || labels.empty()) << row.script;
  }
  // A host has names in place of those of kt.
  const Json options = {{"host", maker.Folder().Write("names.json",
                                                      "{\"name\":\"rate\",\"kind\":\"function\"}\n"
                                                      "{\"name\":\"order\",\"kind\":\"object\"}\n"
                                                      "{\"name\":\"price\",\"kind\":\"property\","
                                                      "\"of\":\"order\"}\n")}};
  Editor hosted(options);
  hosted.Open("function f() { rate(1); print(2); return order.@; }");
  EXPECT_EQ(hosted.Problems(), "0:47-48 no-operand");
  const Json members = hosted.AskAt("completion")["items"];
  EXPECT_EQ(members.size(), 1u) << members;
  editor.Open("function f() { ab@ }");
  const Json last = editor.AskAt("completion");
  for (const Json& item : last["items"]) {
    if (item["label"] != "abs") continue;
    const Json resolved = editor.Ask("completionItem/resolve", item);
    EXPECT_NE(resolved["documentation"].dump().find("abs(-2.5)"), std::string::npos) << resolved;
  }
}

TEST(LspServer, ExplainsNamesAndCalls) {
  const struct {
    const char* script;
    const char* hover;      // a part of the text; empty: none
    const char* signature;  // form, and the active parameter; empty: none
  } kRows[] = {
      {"// Doubles it.\n// Well.\nfunction twice(x) { }\nfunction f() { twi@ce(1); }",
       "function twice(x)\n```\nDoubles it.\nWell.\n", ""},
      {"/* Doubles\n * it. */\nfunction twice(x) { }\nfunction f() { tw@ice(1); }",
       "Doubles\nit.\n", ""},
      {"var a = 1; // not of f\nfunction f() { @f(); }", "```kts\nfunction f()\n```\n", ""},
      {"var RATE = 0.5;\nfunction f() { return RA@TE; }", "var RATE = 0.5;\n```\nglobal", ""},
      {"function f() { return Ab@s(-1); }", "abs(-2.5)", ""},
      {"function f() { whi@le (0) { } }", "Runs the statement as long", ""},
      {"function f() { return orders.S@um('qty'); }", "orders.Sum(", ""},
      {"function f() { return orders.pri@ce; }", "column `price` of `orders`", ""},
      {"function f() { return orders.Sum('qty * pri@ce'); }", "column `price` of `orders`", ""},
      {"function f() { return orders.Sum('rowi@dx'); }", "The row that is looked at", ""},
      {"function f() { return or@ders; }", "columns id, price, qty", ""},
      {"function f() { return 'ord@ers'; }", "", ""},
      {"function f() { return@ 1; }", "Ends the function", ""},
      {"function f(a, b) { f(1, @ }", "", "f(a, b) 1"},
      {"function f(a, b) { f((1 + @", "", "f(a, b) 0"},
      {"function f(a, b) { f([1, 2], g(3), @); }", "", "f(a, b) 2"},
      {"function f() { mid('x, y(', @); }", "", "Mid(strString,nIndex[,nSize]) 1"},
      {"function f() { print(1, 2, 3, @); }", "", "Print([varValue[...]]) 0"},
      {"function f() { orders.Sum('a@b'); }", "", "Sum"},
      {"function f(a) { if (@a) { } }", "argument `a`", ""},
      {"function f(@a) { }", "argument `a`", ""},
  };
  const Editor maker;
  Editor editor(WithOrders(maker));
  for (const auto& row : kRows) {
    editor.Open(row.script);
    const Json hover = editor.AskAt("hover");
    const std::string text = hover.is_null() ? "" : hover["contents"].value("value", "");
    if (*row.signature == 0) {
      EXPECT_EQ(text.empty(), *row.hover == 0) << row.script << text;
      EXPECT_NE(text.find(row.hover), std::string::npos) << row.script << "\n" << text;
    }
    const Json help = editor.AskAt("signatureHelp");
    std::string form;
    if (!help.is_null()) {
      const Json& one = help["signatures"][help["activeSignature"].get<std::size_t>()];
      form = one.value("label", "") + " " + std::to_string(help["activeParameter"].get<int>());
    }
    if (*row.hover != 0) continue;
    EXPECT_EQ(form.empty(), *row.signature == 0) << row.script << form;
    EXPECT_NE(form.find(row.signature), std::string::npos) << row.script << "\n" << form;
  }
  Editor plain(nullptr, {{"textDocument", {{"hover", {{"contentFormat", {"plaintext"}}}}}}});
  plain.Open("function f() { return ab@s(1); }");
  const Json contents = plain.AskAt("hover")["contents"];
  EXPECT_EQ(contents["kind"], "plaintext");
  EXPECT_EQ(contents.dump().find("```"), std::string::npos) << contents;
}

// Structure, formatting, fixes --------------------------------------------------------------------

TEST(LspServer, ShowsTheStructure) {
  Editor editor;
  editor.Open(
      "#include \"x\"\n#include \"y\"\n// One\n// two.\nvar a = 1, b[2];\n"
      "function f(x, y) {\n  if (x) {\n    y = 'a\nb';\n  }\n}\n/* x\n */\n");
  std::string symbols;
  for (const Json& one : editor.AskAt("documentSymbol")) {
    symbols += one.value("name", "") + one.value("detail", "") + " " + Editor::Place(one["range"]) +
               " " + Editor::Place(one["selectionRange"]) + "\n";
  }
  EXPECT_EQ(symbols, "a 4:4-9 4:4-5\nb 4:11-15 4:11-12\nf(x, y) 5:0-10:1 5:9-10\n");
  std::string folds;
  for (const Json& one : editor.AskAt("foldingRange")) {
    folds += std::to_string(one["startLine"].get<int>()) + "-" +
             std::to_string(one["endLine"].get<int>()) + one.value("kind", "") + " ";
  }
  EXPECT_EQ(folds, "0-1imports 2-3comment 5-9 6-8 11-12comment ");
}

TEST(LspServer, TellsWhatEachNameIs) {
  Editor editor;
  editor.Open(
      "// \xF0\x9F\x98\x80\nvar a = 1;\nfunction f(x) { return orders.Sum('q\nr') + abs(x) + a; }");
  const char* const kTypes[] = {"keyword", "comment",  "string",   "number",   "function",
                                "method",  "property", "variable", "parameter"};
  const Json data = editor.AskAt("semanticTokens/full")["data"];
  std::string shown;
  int line = 0;
  int column = 0;
  for (std::size_t at = 0; at + 4 < data.size(); at += 5) {
    const auto number = [&](std::size_t of) { return data[at + of].get<int>(); };
    column = number(0) == 0 ? column + number(1) : number(1);
    line += number(0);
    shown += std::to_string(line) + ":" + std::to_string(column) + "+" + std::to_string(number(2)) +
             kTypes[number(3)] + (number(4) != 0 ? std::to_string(number(4)) : "") + " ";
  }
  EXPECT_EQ(shown,
            "0:0+5comment 1:0+3keyword 1:4+1variable1 1:8+1number 2:0+8keyword 2:9+1function1 "
            "2:11+1parameter1 2:16+6keyword 2:23+6variable2 2:30+3method 2:34+2string 3:0+2string "
            "3:6+3function2 3:10+1parameter 3:15+1variable ");
  const Json range = {{"start", {{"line", 1}, {"character", 0}}},
                      {"end", {{"line", 1}, {"character", 3}}}};
  EXPECT_EQ(editor.AskAt("semanticTokens/range", {{"range", range}})["data"],
            Json({1, 0, 3, 0, 0}));
}

TEST(LspServer, FormatsAsKtFmtDoes) {
  const char* const kScripts[] = {
      "function f(){return 1;}",
      "var a = 1;\r\n\r\nfunction   f( ){ return '\xF0\x9F\x98\x80'  + 1; }\r\n// end",
      "function f() {\n  return 1;\n}\n",
      "",
  };
  Editor editor;
  for (const std::string script : kScripts) {
    const TestFolder folder;
    const std::string file = folder.Write("a.kts", script);
    ASSERT_EQ(Kt({"fmt", file}).status, 0);
    editor.Open(script);
    SourceText text(Kt_WString::FromUtf8(script));
    for (const Json& edit : editor.AskAt("formatting", {{"options", {{"tabSize", 8}}}})) {
      const auto at = [&](const char* end) {
        const Json& place = edit["range"][end];
        return text.OffsetOf({place["line"].get<int>(), place["character"].get<int>()});
      };
      text.Replace({at("start"), at("end")}, Kt_WString::FromUtf8(edit.value("newText", "")));
    }
    EXPECT_EQ(text.Text().ToUtf8(), folder.Read("a.kts"));
  }
  editor.Open("function f( ) { x = (; }");
  EXPECT_TRUE(editor.AskAt("formatting").is_null()) << "errors";
}

TEST(LspServer, FixesUnknownNames) {
  const struct {
    const char* script;
    const char* title;  // empty: no fix
  } kRows[] = {
      {"function main() { var total = 1; print(tota@, total); }", "Change to 'total'"},
      {"function main() { pri@nd(1); }", "Change to 'print'"},
      {"function main() { return orders.Sum('pr@ce'); }", "Change to 'price'"},
      {"function main() { return orders.Sm@u('price'); }", "Change to 'Sum'"},
      {"function main() { xyzzy@(1); }", ""},
      {"function main() { print@(1); }", ""},
  };
  const Editor maker;
  Editor editor(WithOrders(maker));
  for (const auto& row : kRows) {
    editor.Open(row.script);
    const Json at = Marked(row.script).position;
    const Json found = editor.AskAt(
        "codeAction", {{"range", {{"start", at}, {"end", at}}}, {"context", Json::object()}});
    EXPECT_EQ(found.empty() ? "" : found[0].value("title", ""), row.title) << row.script << found;
    if (found.empty()) continue;
    const Json edit = found[0]["edit"]["changes"][editor.Uri("a.kts")][0];
    EXPECT_EQ("Change to '" + edit.value("newText", "") + "'", row.title);
    EXPECT_EQ(edit["range"], found[0]["diagnostics"][0]["range"]);
  }
}

// The text after the edits of an action, which do not overlap.
std::string Edited(const std::string& script, const Json& edits) {
  SourceText text(Kt_WString::FromUtf8(script));
  for (std::size_t at = edits.size(); at-- > 0;) {
    const auto offset = [&](const char* end) {
      const Json& place = edits[at]["range"][end];
      return text.OffsetOf({place["line"].get<int>(), place["character"].get<int>()});
    };
    text.Replace({offset("start"), offset("end")},
                 Kt_WString::FromUtf8(edits[at].value("newText", "")));
  }
  return text.Text().ToUtf8();
}

Json Everywhere() {
  return {{"start", {{"line", 0}, {"character", 0}}}, {"end", {{"line", 99}, {"character", 0}}}};
}

TEST(LspServer, TellsCausesAndTheirCures) {
  const struct {
    const char* script;
    const char* problems;
    const char* title;  // of the only action; empty: none
    const char* fixed;
  } kRows[] = {
      {"function main() {\n  print(1)\n  print(2);\n}\n", "1:9-10 missing-semicolon", "Insert ';'",
       "function main() {\n  print(1);\n  print(2);\n}\n"},
      {"function main(a) {\n  if (a => 1) print('\xF0\x9F\x98\x80');\n}\n",
       "1:8-10 foreign-operator", "Replace '=>' by '>='",
       "function main(a) {\n  if (a >= 1) print('\xF0\x9F\x98\x80');\n}\n"},
      {"function main() {\n  let a = 1;\n  print(a);\n}\n", "1:2-5 foreign-declaration",
       "Replace 'let' by 'var'", "function main() {\n  var a = 1;\n  print(a);\n}\n"},
      {"function main(a) {\n  if a {\n    print(a);\n  }\n}\n", "1:5-6 missing-parentheses",
       "Insert '(', insert ')'", "function main(a) {\n  if (a) {\n    print(a);\n  }\n}\n"},
      {"function main() {\n  print((1 + 2);\n}\n", "1:15-16 unclosed-bracket", "", ""},
      {"function main(a) {\n  return a == None;\n}\n", "1:14-18 unknown-variable",
       "Replace 'None' by 'null'", "function main(a) {\n  return a == null;\n}\n"},
      {"function main() {\n  return orders.Sum('price === 2');\n}\n", "1:27-30 row-expression",
       "Replace '===' by '=='", "function main() {\n  return orders.Sum('price == 2');\n}\n"},
      {"function main(a) {\n  print(a)\n}\nfunction two() {\n  print(\"abc);\n}\n",
       "1:9-10 missing-semicolon\n4:8-9 unclosed-string", "Insert ';'",
       "function main(a) {\n  print(a);\n}\nfunction two() {\n  print(\"abc);\n}\n"},
  };
  const Editor maker;
  Editor editor(WithOrders(maker));
  for (const auto& row : kRows) {
    editor.Open(row.script);
    EXPECT_EQ(editor.Problems(), row.problems) << row.script;
    const Json found = editor.AskAt(
        "codeAction", {{"range", Everywhere()}, {"context", {{"diagnostics", Json::array()}}}});
    ASSERT_EQ(found.size(), *row.title != 0 ? 1u : 0u) << row.script << found;
    if (found.empty()) continue;
    EXPECT_EQ(found[0]["title"], row.title);
    EXPECT_EQ(Edited(row.script, found[0]["edit"]["changes"][editor.Uri("a.kts")]), row.fixed);
    EXPECT_EQ(found[0]["diagnostics"].size(), 1u);
  }
}

TEST(LspServer, MendsAllThatHasOneCure) {
  const std::string kScript = "function main() {\n  let a = 1\n  if a { print(a); }\n}\n";
  Editor editor;
  editor.Open(kScript);
  const auto actions = [&](const char* only) {
    const Json context = {{"diagnostics", Json::array()}, {"only", {only}}};
    return editor.AskAt("codeAction", {{"range", Everywhere()}, {"context", context}});
  };
  EXPECT_EQ(actions("refactor").size(), 0u);
  for (const Json& action : actions("quickfix")) EXPECT_EQ(action["kind"], "quickfix");
  for (const char* const only : {"source", "source.fixAll"}) {
    const Json found = actions(only);
    ASSERT_EQ(found.size(), 1u) << only;
    const TestFolder folder;
    const std::string file = folder.Write("a.kts", kScript);
    EXPECT_EQ(Kt({"check", "--fix", file}).status, 0);
    EXPECT_EQ(Edited(kScript, found[0]["edit"]["changes"][editor.Uri("a.kts")]),
              folder.Read("a.kts"));
  }
  editor.ChangeAll("function main() { }\n");
  EXPECT_EQ(actions("source.fixAll").size(), 0u);
}

// Whatever comes in -------------------------------------------------------------------------------

TEST(LspServer, SurvivesRandomMessages) {
  const std::string kScript =
      "var R = 1;\nfunction f(a, b) {\n  var s = 'x' + \"y\"; /* c */\n  for (var i = 0; i < a; "
      "i++)"
      " { s += orders.Sum('qty * 2', i); }\n  return f(s, [1, 2][0]) + R; // end\n}\n";
  const char* const kMethods[] = {
      "completion", "hover",          "signatureHelp",     "definition",   "references",
      "rename",     "documentSymbol", "formatting",        "foldingRange", "semanticTokens/full",
      "codeAction", "prepareRename",  "documentHighlight", "nope"};
  const char* const kPieces[] = {"(",
                                 ")",
                                 "{",
                                 "}",
                                 "'",
                                 "\"",
                                 ";",
                                 "/*",
                                 "*/",
                                 "\n",
                                 ".",
                                 ",",
                                 "\xF0\x9F\x98\x80",
                                 "function ",
                                 "#include \"b\"",
                                 "",
                                 "",
                                 "",
                                 ""};
  std::mt19937 random(20261122);
  const auto below = [&](std::size_t count) { return static_cast<int>(random() % count); };
  std::set<int> unanswered;
  Server server([&](const std::string& text) {
    const Json message = Json::parse(text);
    if (message.contains("id") && message["id"].is_number()) unanswered.erase(message["id"]);
  });
  const auto work = [&] {
    while (server.HasWork()) server.Work();
  };
  server.Receive(kInitialize);
  work();
  const Json kDocument = {{"uri", "file:///nowhere/a.kts"}, {"version", 1}, {"text", kScript}};
  const Json kOpen = {{"method", "textDocument/didOpen"},
                      {"params", {{"textDocument", kDocument}}}};
  server.Receive(kOpen.dump());
  for (int turn = 0; turn < 250; ++turn) {
    const auto place = [&] { return Json{{"line", below(9)}, {"character", below(70)}}; };
    const Json range = {{"start", place()}, {"end", place()}};
    Json params = {{"textDocument", kDocument},
                   {"position", place()},
                   {"range", range},
                   {"newName", "n"},
                   {"context", Json::object()}};
    Json message = {{"id", turn + 10},
                    {"method", std::string("textDocument/") + kMethods[below(std::size(kMethods))]},
                    {"params", params}};
    if (below(3) == 0) {
      const Json change = {{"text", kPieces[below(std::size(kPieces))]}, {"range", range}};
      message = {
          {"method", "textDocument/didChange"},
          {"params", {{"textDocument", kDocument}, {"contentChanges", Json::array({change})}}}};
    }
    std::string text = message.dump();
    const bool is_spoilt = below(4) == 0;
    for (int times = is_spoilt ? 1 + below(3) : 0; times > 0; --times) {
      text[static_cast<std::size_t>(below(text.size()))] = "\"{}[]:,0x\\"[below(10)];
    }
    if (!is_spoilt && message.contains("id")) unanswered.insert(turn + 10);
    server.Receive(text);
    if (below(3) == 0) work();
    if (turn % 50 == 0) server.Receive(kOpen.dump());
  }
  work();
  EXPECT_TRUE(unanswered.empty()) << "of " << unanswered.size();
}

// As a program ------------------------------------------------------------------------------------

std::string Framed(const std::string& message) {
  return "Content-Length: " + std::to_string(message.size()) + "\r\n\r\n" + message;
}

// What the program writes for this input, and its exit status. `reader` may be "| true".
std::string RunProgram(const std::string& input, int& status, const std::string& reader = "") {
  const TestFolder folder;
  folder.Write("in", input);
  const std::string line = "cd '" + folder.Path("") +
                           "'; (timeout 60 '" KT_PROGRAM "' lsp < in; echo $? > status) " + reader +
                           " > out";
  EXPECT_EQ(std::system(line.c_str()), 0);  // NOLINT(cert-env33-c)
  status = std::atoi(folder.Read("status").c_str());
  return folder.Read("out");
}

TEST(LspProgram, ServesAnEditor) {
  std::ifstream file(KT_PROJECT_DIR "/tests/data/lsp/vscode_initialize.json");
  const std::string initialize{std::istreambuf_iterator<char>(file), {}};
  const std::string kOpen =
      R"({"jsonrpc":"2.0","method":"textDocument/didOpen","params":{"textDocument":{"uri":"untitled:Untitled-1","languageId":"ktscript","version":1,"text":"function main() { x = (1; }\n"}}})";
  const std::string start =
      Framed(initialize) + Framed(R"({"jsonrpc":"2.0","method":"initialized","params":{}})");
  const std::string kEnd = Framed(R"({"jsonrpc":"2.0","id":9,"method":"shutdown"})") +
                           Framed(R"({"jsonrpc":"2.0","method":"exit"})");
  int status = 0;
  const std::string out = RunProgram(start + Framed(kOpen) + kEnd, status);
  EXPECT_EQ(status, 0);
  EXPECT_NE(out.find("\"positionEncoding\":\"utf-16\""), std::string::npos) << out;
  EXPECT_NE(out.find("client/registerCapability"), std::string::npos) << out;
  EXPECT_TRUE(out.starts_with("Content-Length: ")) << out;
  const struct {
    std::string input;
    const char* has;
    int status;
  } kRows[] = {
      {"", "", 1},
      {start, "capabilities", 1},
      {start + "Content-Length: 10\r\n", "capabilities", 1},
      {start + "Content-Length: 1000\r\n\r\n{", "capabilities", 1},
      {start + "rubbish\r\n\r\n" + kEnd, "-32600", 0},
      {start + Framed("{") + kEnd, "-32700", 0},
      {start + Framed(kOpen), "publishDiagnostics", 1},
  };
  for (const auto& row : kRows) {
    EXPECT_NE(RunProgram(row.input, status).find(row.has), std::string::npos) << row.has;
    EXPECT_EQ(status, row.status) << row.input.substr(row.input.size() -
                                                      std::min<std::size_t>(row.input.size(), 40));
  }
  const std::string told = RunProgram(start + Framed(kOpen), status);
  // What is wrong, what to write, and where the bracket is that the hint is about.
  EXPECT_NE(told.find("\"code\":\"unclosed-bracket\""), std::string::npos) << told;
  EXPECT_NE(told.find("')' is missing here, for the '('"), std::string::npos) << told;
  EXPECT_NE(told.find(R"("relatedInformation":[{"location":{"range":{"end":{"character":23)"),
            std::string::npos)
      << told;
  EXPECT_NE(told.find("\"message\":\"the '(' is here\""), std::string::npos) << told;
  // Nobody reads what it writes.
  std::string many = start;
  for (int id = 100; id < 3000; ++id) {
    many += Framed("{\"id\":" + std::to_string(id) + ",\"method\":\"nope\"}");
  }
  RunProgram(many, status, "2> err | true");
  EXPECT_EQ(status, 1);
}

}  // namespace
