// SPDX-License-Identifier: MIT
//
// What is made of the declared command line for shells, tried in those that are there.
#include <gmock/gmock.h>

#include "cli_test_util.h"

namespace {

bool Has(const std::string& program) {
  const std::string line = "command -v " + program + " > /dev/null";
  return std::system(line.c_str()) == 0;  // NOLINT(cert-env33-c)
}

class CliUsage : public testing::Test {
 protected:
  // What a shell command in the folder of the test prints, messages too.
  std::string Shell(const std::string& command) const {
    const std::string line = "cd '" + folder_.Path("") + "' && { " + command + "; } > out 2>&1";
    const int status = std::system(line.c_str());  // NOLINT(cert-env33-c)
    return folder_.Read("out") + (status == 0 ? "" : "[failed]");
  }

  TestFolder folder_;
};

TEST_F(CliUsage, BashCompletes) {
  if (!Has("bash")) GTEST_SKIP() << "no bash here";
  const Outcome script = Kt({"completion", "bash"});
  ASSERT_EQ(script.status, 0);
  folder_.Write("kt.bash", script.out);
  // What the shell would call; without words it offers files, unless compopt says otherwise.
  folder_.Write("ask.bash",
                "set -u\ncompopt() { echo \"$*\"; }\nsource kt.bash\n"
                "COMP_WORDS=(kt \"$@\") COMP_CWORD=$#\n_kt\necho \"${COMPREPLY[@]}\"\n");
  constexpr const char* kNoFiles = "+o default +o bashdefault\n";
  const struct {
    const char* words;
    const char* options;  // of the completion
    const char* offered;
  } kRows[] = {
      {"ru", kNoFiles, "run"},
      {"--v", kNoFiles, "--version"},
      {"run ''", "", ""},
      {"run --allow-", kNoFiles, "--allow-dir --allow-host --allow-all-files --allow-rejects"},
      {"run --data ''", "", ""},
      {"run --data = ''", "", ""},
      {"run --data t = ord", "", ""},
      {"run --data t = x.csv --ste", kNoFiles, "--steps"},
      {"run --data t =", "", ""},
      {"run --steps ''", kNoFiles, ""},
      {"run --include-dir ''", "-o dirnames +o default +o bashdefault\n", ""},
      {"run a.kts main --st", "", ""},
      {"run --steps 5 a.kts --ste", kNoFiles, "--steps"},
      {"run --steps=5 a.kts --ste", kNoFiles, "--steps"},
      {"check -- --st", "", ""},
      {"show --format j", kNoFiles, "json jsonl"},
      {"show --format = j", kNoFiles, "json jsonl"},
      {"show --format =", kNoFiles, "csv tsv xml json jsonl ktb xlsx md"},
      {"show --format=j", kNoFiles, "--format=json --format=jsonl"},
      {"test --coverage ''", "", ""},
      {"test --coverage = h", kNoFiles, "html"},
      {"completion ''", kNoFiles, "bash zsh fish"},
      {"completion bash ''", "", ""},
      {"help du", kNoFiles, "dump"},
      {"unknown --x", "", ""},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Shell(std::string("bash ask.bash ") + row.words),
              std::string(row.options) + row.offered + "\n")
        << row.words;
  }
}

TEST_F(CliUsage, OtherShellsReadTheirScripts) {
  const char* const kShells[] = {"zsh", "fish"};
  std::string skipped;
  for (const std::string shell : kShells) {
    const Outcome script = Kt({"completion", shell});
    EXPECT_EQ(script.status, 0);
    // A quote, bracket or colon of a text must not end what it stands in.
    EXPECT_THAT(
        script.out,
        testing::HasSubstr(
            shell == "zsh"
                ? R"([Types of columns\: "price\:double,zip\:string"]:LIST: )"
                : R"(-l null -x -d 'Texts that are null in every column: "NA,-"; \'\' for none')"));
    folder_.Write("script", script.out);
    if (Has(shell)) {
      EXPECT_EQ(Shell(shell + " -n script"), "") << shell;
    } else {
      skipped += " " + shell;
    }
  }
  if (!skipped.empty()) GTEST_SKIP() << "not here, so not asked:" << skipped;
}

// Types each line at a prompt of zsh and prints what is offered for its end.
constexpr const char* kAskZsh = R"(zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell 'PS1= PS2=; unsetopt beep zle_bracketed_paste; autoload -Uz compinit
compinit -u -D; source ../kt.zsh; bindkey -e; bindkey "^I" complete-word
zstyle ":completion:*" insert-tab false
compadd() {
  if [[ ${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then
    local -a hits; builtin compadd -A hits "$@"; print -rl -- "<$^hits>"
  fi
  builtin compadd "$@"
}
finish() { print END; comppostfuncs=(finish) }
comppostfuncs=(finish); print REA""DY'
while zpty -r shell line && [[ $line != *READY* ]]; do done
for words; do
  zpty -w -n shell $'\C-e\C-u'"$words"$'\t'
  offered=()
  while zpty -r shell line && [[ $line != *END* ]]; do
    [[ $line == *\<?*\>* ]] && offered+=(${${line##*\<}%\>*})
  done
  print -r -- ${(ou)offered}
done
zpty -d shell
)";

constexpr const char* kAskFish = R"(source ../kt.fish
for words in $argv
    echo (complete -C $words | string replace -r '\t.*' '' | sort)
end
)";

TEST_F(CliUsage, OtherShellsComplete) {
  const struct {
    const char* words;
    const char* zsh;
    const char* fish;
  } kRows[] = {
      {"kt ru", "run", "run"},
      {"kt --v", "--version", "--version"},
      {"kt run ", "main.kts orders.csv sub", "main.kts orders.csv sub/"},
      {"kt run --allow-", "--allow-all-files --allow-dir --allow-host --allow-rejects",
       "--allow-all-files --allow-dir --allow-host --allow-rejects"},
      {"kt run --data t=o", "orders.csv", "t=orders.csv"},
      {"kt run --data=t=o", "orders.csv", "--data=t=orders.csv"},
      {"kt run --data t=x.csv --st", "--steps --strict", "--steps --strict"},
      {"kt run --steps ", "", ""},
      {"kt run --include-dir ", "sub", "sub/"},
      {"kt run a.kts --st", "--steps --strict", "--steps --strict"},
      {"kt run --timeout 5 a.kts --st", "--steps --strict", "--steps --strict"},
      {"kt run a.kts main --st", "", ""},
      {"kt run --timeout 5 a.kts main x --st", "", ""},
      {"kt run a.kts main o", "orders.csv", "orders.csv"},
      {"kt check a.kts --js", "--json", "--json"},
      {"kt check -- --js", "", ""},
      {"kt show --format j", "json jsonl", "json jsonl"},
      {"kt show --format=j", "json jsonl", "--format=json --format=jsonl"},
      {"kt test --coverage=h", "html", "--coverage=html"},
      {"kt completion ", "bash zsh fish", "bash fish zsh"},
      {"kt help du", "dump", "dump"},
      {"kt unknown --x", "", ""},
  };
  std::string lines;
  std::string wanted[2];
  for (const auto& row : kRows) {
    lines += std::string(" '") + row.words + "'";
    wanted[0] += std::string(row.zsh) + "\n";
    wanted[1] += std::string(row.fish) + "\n";
  }
  folder_.Write("ask/main.kts", "");
  folder_.Write("ask/orders.csv", "");
  folder_.Write("ask/sub/x", "");
  folder_.Write("ask.zsh", kAskZsh);
  folder_.Write("ask.fish", kAskFish);
  for (const std::string shell : {"zsh", "fish"}) {
    folder_.Write("kt." + shell, Kt({"completion", shell}).out);
  }
  if (Has("zsh")) {
    EXPECT_EQ(Shell("cd ask; zsh -f ../ask.zsh" + lines), wanted[0]);
  }
  if (Has("fish")) {
    EXPECT_EQ(Shell("cd ask; fish --no-config ../ask.fish" + lines), wanted[1]);
  }
  if (!Has("zsh") || !Has("fish")) GTEST_SKIP() << "not both of zsh and fish are here";
}

TEST_F(CliUsage, ManPagesAreSoundAndComplete) {
  const Outcome written = Kt({"man", "--to", folder_.Path("")});
  EXPECT_EQ(written.status, 0) << written.messages;
  EXPECT_EQ(folder_.Read("kt-run.1"), Kt({"man", "run"}).out);
  EXPECT_EQ(folder_.Read("kt.1"), Kt({"man"}).out);
  EXPECT_EQ(Kt({"man", "--to", folder_.Path("none")}).status, 2);
  EXPECT_EQ(Kt({"man", "rnu"}).messages,
            "kt man: there is no command 'rnu' (did you mean 'run'?)\n");
  if (!Has("groff")) GTEST_SKIP() << "no groff here";
  EXPECT_EQ(Shell("for page in *.1; do groff -man -Tutf8 -wall -z $page || echo $page; done"), "");
  const std::string page = Shell("groff -man -Tascii -P-c -rLL=100n kt-show.1 | sed 's/.\\x08//g'");
  EXPECT_THAT(page, testing::HasSubstr("\n       kt show [OPTIONS] FILE\n"));
  EXPECT_THAT(page, testing::HasSubstr("\nDATA FILES\n"));
  // Marks of roff in texts are texts.
  EXPECT_THAT(page,
              testing::HasSubstr("Texts that are null in every column: \"NA,-\"; '' for none"));
  EXPECT_THAT(page, testing::HasSubstr("The decimal point of numbers (.)"));
  EXPECT_THAT(page,
              testing::HasSubstr(
                  "--rows N\n              At most so many rows; 0 for all [0 - 1000000000]"));
  EXPECT_THAT(page,
              testing::HasSubstr("--json Print the result as JSON (not with --csv, --markdown)"));
}

TEST_F(CliUsage, NearestCommandAndOption) {
  const std::string script = folder_.Write("a.kts", "function main(x) { return x; }\n");
  const std::string data = folder_.Write("a.csv", "a\n1\n");
  const std::string hint = "Run with --help for more information.\n";
  const struct {
    std::vector<std::string> arguments;
    std::string messages;
  } kRows[] = {
      {{"rnu"}, "kt: there is no command 'rnu' (did you mean 'run'?)\n"},
      {{"help", "rnu"}, "kt help: there is no command 'rnu' (did you mean 'run'?)\n"},
      {{"fly"}, "kt: there is no command 'fly'\n"},
      {{"--hlep"}, "kt: there is no option '--hlep' (did you mean '--help'?)\n" + hint},
      {{"show", "--sepparator", ",", data},
       "kt show: there is no option '--sepparator' (did you mean '--separator'?)\n" + hint},
      {{"show", data, "--filter", "--x", "--sepparator=,"},
       "kt show: there is no option '--sepparator' (did you mean '--separator'?)\n" + hint},
      {{"run", "--trcae"},
       "kt run: there is no option '--trcae' (did you mean '--trace'?)\n" + hint},
      {{"run", "-x", script}, "kt run: there is no option '-x'\n" + hint},
      {{"eval", "--sepparator", ",", "1"},
       "kt eval: there is no option '--sepparator' (did you mean '--separator'?)\n" + hint},
      {{"eval", "-1", "2"}, "The following arguments were not expected: 2 --\n" + hint},
      {{"check"}, "FILE is required\n" + hint},
  };
  for (const auto& row : kRows) {
    const Outcome outcome = Kt(row.arguments);
    EXPECT_EQ(outcome.messages, row.messages);
    EXPECT_EQ(outcome.status, 2) << row.messages;
  }
  EXPECT_EQ(Kt({"run", script, "main", "--trcae"}).out, "--trcae\n");
  EXPECT_EQ(Kt({"eval", "-5 + 6"}).out, "1\n");
}

TEST_F(CliUsage, UnknownShell) {
  const Outcome outcome = Kt({"completion", "fihs"});
  EXPECT_EQ(outcome.messages,
            "kt completion: bash, zsh and fish are known, not 'fihs' (did you mean 'fish'?)\n");
  EXPECT_EQ(outcome.status, 2);
}

}  // namespace
