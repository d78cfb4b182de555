// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <set>

#include "classlib/text/Kt_AString.h"
#include "cli/Kt_Bounds.h"
#include "cli/Kt_Cli.h"
#include "cli/Kt_Color.h"
#include "cli/Kt_Console.h"
#include "cli/Kt_Expr.h"
#include "cli/Kt_File.h"
#include "cli/Kt_Report.h"
#include "cli/Kt_Visible.h"
#include "cli/data/Kt_Database.h"
#include "cli/data/Kt_Options.h"
#include "cli/data/Kt_Progress.h"
#include "cli/data/Kt_Report.h"
#include "cli/data/Kt_Text.h"
#include "cli/show/Kt_Arrange.h"
#include "cli/show/Kt_Chart.h"
#include "cli/show/Kt_Html.h"
#include "cli/show/Kt_Markdown.h"
#include "cli/show/Kt_Pushdown.h"
#include "cli/show/Kt_Result.h"
#include "cli/show/Kt_Sheet.h"
#include "cli/show/Kt_Table.h"
#include "cli/show/Kt_View.h"
#include "dataset/Kt_ExprDataset.h"
#include "object/Kt_RunError.h"

namespace kt::cli {
namespace {

constexpr kt_long kRowsOnTerminal = 20;
constexpr kt_long kRowsOnPage = 5000;
constexpr kt_long kChartWidth = 80;  // in a pipe

struct ShowOptions {
  std::string file;
  DataArguments data;
  Arrangement arrangement;
  // By kind of total, as given; they become arrangement.totals.
  std::string sum, avg, max, min, count;
  bool types = false;
  bool states = false;
  kt_long rows = -1;   // as the output wants
  kt_long width = -1;  // of the terminal
  kt_long decimals = -1;
  std::string chart;
  kt_long bars = 30;
  bool json = false;
  bool csv = false;
  bool markdown = false;
  std::string html;
  std::string title;
  std::string save;
  bool no_pushdown = false;
  bool explain = false;
  BoundOptions bounds;
};

bool HasTerminal(const Streams& streams) {
  return &streams.out == &std::cout && IsTerminal(Stream::kOutput);
}

// Hears what is wrong with computed columns, those of the file and of --add, wherever their cells
// are read. A fault that every row has is told once, at its place in the expression.
class ColumnErrors : public Kt_ExprObject {
 public:
  using Added = std::vector<Kt_SqlRequest::Added>;
  ColumnErrors(Kt_CliReport& report, const Added& added)
      : Kt_ExprObject(nullptr), report_(report), added_(added) {}
  int IsSystemLogMode() override { return 1; }
  void OnRunTimeError(const Kt_Result& result) override {
    // Told with the first row that has it.
    const bool is_new = told_.size() < kMaxTold && told_.insert(result.GetText().ToUtf8()).second;
    if (!is_new) return;
    const Kt_RunError& error = Kt_RunError::Last();
    const bool is_known = error.report == result.GetCode();
    Diagnostic told = is_known ? FromRunError(error) : Diagnostic::Error(result.GetText().ToUtf8());
    told.code = result.GetCode();
    for (const Kt_SqlRequest::Added& column : added_) {
      const Part part = is_known ? FindPart(column.expression, error) : Part();
      if (part.length == 0) continue;
      told.text = fmt::format("column '{}': {}", Shown(column.id), told.text);
      return report_.AtPlace(kExpressionName, column.expression, part.offset, part.length, told);
    }
    report_.Tell(Diagnostic::Of("kt show", std::move(told)));
  }
  bool HasAny() const { return !told_.empty(); }

 private:
  static constexpr std::size_t kMaxTold = 20;

  Kt_CliReport& report_;
  const Added& added_;
  std::set<std::string> told_;
};

class Show {
 public:
  Show(const ShowOptions& options, Streams streams)
      : options_(options), streams_(streams), report_(streams), column_errors_(report_, added_) {
    if (options.decimals >= 0) decimals_ = options.decimals;
  }

  int Run() {
    if (!ParseDataOptions(options_.data, "kt show", streams_, data_options_)) return kCommandFault;
    if (!options_.save.empty() && !DataFormatOf(options_.save)) {
      Complain(fmt::format("--save: the ending of '{}' names no format", options_.save));
      return kCommandFault;
    }
    if (!ReadAdded()) return kCommandFault;
    if (const int loaded = Load(); loaded != kFine) return loaded;
    if (!AddColumns()) return kCommandFault;
    Kt_CliView view(dataset_);
    view.SetMoreRows(pushed_.more_rows);
    Arrangement left = options_.arrangement;
    left.filter = pushed_.filter;
    const int status =
        Arrange(left, dataset_, view, report_, pushed_.groups ? &*pushed_.groups : nullptr);
    if (status != kFine) return status;
    if (options_.states) {
      view.AddColumn(
          {u"state", Kt_CliView::kStateCol, -1, Kt_ColumnType::kString, Kt_Aggregate::kNone}, true);
    }
    if (!options_.chart.empty() && !FindChartColumn(view)) return kCommandFault;
    return Output(view) && !column_errors_.HasAny() ? kFine : kScriptFault;
  }

 private:
  // What is wrong with the command line.
  bool Complain(const std::string& what) { return Fail(Diagnostic::Complaint("kt show", what)); }

  bool Fail(const std::string& what) {
    return Fail(Diagnostic::Of("kt show", Diagnostic::Error(what)));
  }

  bool Fail(const Diagnostic& diagnostic) {
    if (!TellStop(options_.file, streams_)) Tell(streams_, diagnostic);
    return false;
  }

  void TellWritten(const std::string& what) {
    Tell(streams_, Diagnostic::Of("kt show", Diagnostic::Note("wrote " + what)));
  }

  bool ReadAdded() {
    std::string reason;
    if (!AddedColumns(options_.arrangement, added_, reason)) return Complain("--add: " + reason);
    return std::all_of(added_.begin(), added_.end(), [this](const Kt_SqlRequest::Added& column) {
      Kt_Expr ignored;
      return ParseExpression(column.expression, ignored, report_);
    });
  }

  // Groups that a database has made have them already.
  bool AddColumns() {
    if (pushed_.groups) return true;
    for (const Kt_SqlRequest::Added& column : added_) {
      if (dataset_.AddLogicalColumn(column.id, column.expression,
                                    kt_columntypenameW(column.type)) >= 0) {
        continue;
      }
      return Complain(fmt::format("--add: there is a column '{}' already", column.id.ToUtf8()));
    }
    return true;
  }

  // A file with a separator of its own is a table of texts, whatever it is called.
  void SettleFormat() {
    const bool may_be_csv = !data_options_.format && data_options_.separator;
    if (may_be_csv && options_.file != kStandardInput && !DataFormatOf(options_.file)) {
      data_options_.format = DataFormat::kCsv;
    }
  }

  int Load() {
    const bool is_input = options_.file == kStandardInput;
    const std::string name = is_input ? "stdin" : DatasetNameOf(options_.file);
    dataset_.SetId(Kt_WString::FromUtf8(name));
    SettleFormat();
    DataReport data_report;
    bool loaded = false;
    {
      const Kt_CliProgress progress(streams_.messages, "loading " + options_.file);
      loaded = LoadArranged(data_report);
      const bool is_refused = !data_report.error.empty();
      loaded = loaded ||
               (!is_refused && LoadDataFile(options_.file, data_options_, dataset_, data_report));
    }
    if (!loaded) {
      if (TellStop(options_.file, streams_)) return kScriptFault;
      Tell(streams_, LoadFault(options_.file, data_report));
      return data_report.no_access ? kCommandFault : kScriptFault;
    }
    if (options_.explain) TellLines(data_report.steps);
    Tell(streams_, LoadNotes(options_.file, data_options_, data_report, options_.data.verbose));
    dataset_.NameLoadedMaps(Kt_WString::FromUtf8(options_.file));
    wrapper_.emplace(&dataset_, &column_errors_);
    std::string reason;
    if (HaveTypedColumns(data_options_, {&dataset_}, reason)) return kFine;
    Complain("--" + reason);
    return kCommandFault;
  }

  // Of a database only what is shown; false where everything is to be loaded.
  bool LoadArranged(DataReport& data_report) {
    pushed_.filter = options_.arrangement.filter;
    Arrangement wanted = options_.arrangement;
    LimitRows(wanted);
    const bool is_database = Kt_DatabaseUrl::IsUrl(options_.file);
    const bool loaded = is_database && !options_.no_pushdown &&
                        kt::cli::LoadArranged(options_.file, data_options_, wanted, options_.chart,
                                              dataset_, data_report, pushed_);
    if (options_.explain && !is_database) pushed_.lines = {"here: everything; it is a file"};
    if (options_.explain && options_.no_pushdown) {
      pushed_.lines = {"here: everything; --no-pushdown"};
    }
    Kt_Expr ignored;  // Arrange warns of what is left to it
    const bool is_done = pushed_.filter.empty() && !options_.arrangement.filter.empty();
    if (is_done) {
      (void)ParseExpression(Kt_WString::FromUtf8(options_.arrangement.filter), ignored, report_);
    }
    if (!options_.explain) pushed_.lines.clear();
    TellLines(pushed_.lines);
    return loaded;
  }

  void TellLines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      Tell(streams_, Diagnostic::Of("kt show", Diagnostic::Note(line)));
    }
  }

  bool FindChartColumn(const Kt_CliView& view) {
    chart_column_ = view.FindColumn(Kt_WString::FromUtf8(options_.chart));
    if (chart_column_ >= 0) return true;
    std::vector<Kt_WString> names;
    for (const auto& column : view.Columns()) names.push_back(column.heading);
    return Complain(fmt::format("--chart: there is no column '{}'{}", options_.chart,
                                KnownColumns(Kt_WString::FromUtf8(options_.chart).View(), names)));
  }

  bool HasRowLimit() const { return options_.rows >= 0; }
  bool PrintsData() const { return options_.json || options_.csv || options_.markdown; }
  bool MakesData() const { return PrintsData() || !options_.save.empty(); }
  kt_long RowsOnPage() const { return HasRowLimit() ? options_.rows : kRowsOnPage; }
  kt_long RowsInTable() const {
    return HasRowLimit() ? options_.rows : (HasTerminal(streams_) ? kRowsOnTerminal : 0);
  }

  // As many rows as the outputs show; a chart is made of all.
  void LimitRows(Arrangement& wanted) const {
    if (!options_.chart.empty()) return;
    const bool has_page = !options_.html.empty();
    wanted.counts_rows = has_page || !MakesData();
    if (HasRowLimit()) {
      wanted.first_rows = options_.rows;
    } else if (!MakesData()) {
      wanted.first_rows = has_page ? RowsOnPage() : RowsInTable();
    }
  }

  // ---- Outputs --------------------------------------------------------------------------------

  bool Output(const Kt_CliView& view) {
    if (!options_.html.empty() && !WriteHtml(view)) return false;
    if (MakesData()) return OutputData(view);
    if (!options_.html.empty()) return true;
    if (chart_column_ >= 0) {
      PrintChart(ChartOf(view), Width() > 0 ? Width() : kChartWidth, HasColor(streams_.out),
                 streams_.out);
      return true;
    }
    TableOptions table;
    table.width = Width();
    table.rows = RowsInTable();
    table.decimals = decimals_;
    table.types = options_.types;
    table.colours = HasColor(streams_.out);
    PrintTable(view, table, streams_.out);
    return Kt_WorkMeter::CurrentStop() == 0;
  }

  kt_long Width() const {
    if (options_.width >= 0) return options_.width;
    return HasTerminal(streams_) ? TerminalWidth(Stream::kOutput, kChartWidth) : 0;
  }

  Chart ChartOf(const Kt_CliView& view) const {
    return MakeChart(view, static_cast<std::size_t>(chart_column_), options_.bars, decimals_);
  }

  bool WriteHtml(const Kt_CliView& view) {
    HtmlOptions html;
    html.title = Kt_WString::FromUtf8(options_.title);
    if (html.title.IsEmpty()) html.title = dataset_.GetId();
    html.rows = RowsOnPage();
    html.decimals = decimals_;
    html.types = options_.types;
    Chart chart;
    if (chart_column_ >= 0) {
      chart = ChartOf(view);
      html.chart = &chart;
    }
    std::string error;
    if (!WriteFileBytes(options_.html, HtmlPage(view, html), error)) {
      return Fail(fmt::format("cannot write '{}': {}", options_.html, error));
    }
    TellWritten(options_.html);
    return true;
  }

  // True when the dataset itself is what is shown, with states and all.
  bool IsWholeDataset() const {
    const Arrangement& arrangement = options_.arrangement;
    return arrangement.group.empty() && arrangement.pivot.empty() && arrangement.columns.empty() &&
           !options_.states && !HasRowLimit();
  }

  bool OutputData(const Kt_CliView& view) {
    Kt_Dataset result(dataset_.GetId());
    if (!IsWholeDataset()) {
      Kt_CliView rows = view;
      if (view.MixesLevels()) {
        rows.AddColumn(
            {u"level", Kt_CliView::kLevelCol, -1, Kt_ColumnType::kLong, Kt_Aggregate::kNone}, true);
      }
      if (!rows.CopyTo(result, HasRowLimit() ? options_.rows : 0)) {
        return Fail("out of memory");
      }
    }
    const Kt_Dataset& data = IsWholeDataset() ? dataset_ : result;
    return SaveResult(data, view) && PrintData(data, view);
  }

  // The result is written in UTF-8, whatever the file was in, unless something else is asked for.
  DataOptions SaveOptions(std::optional<DataFormat> format) const {
    DataOptions save;
    save.format = format;
    save.save_code_page = data_options_.save_code_page;
    save.typed = data_options_.typed;
    save.guard_formulas = data_options_.guard_formulas;
    return save;
  }

  // Markdown and sheets are the table as it is shown, with its total; other formats are rows.
  bool MakeContent(const Kt_Dataset& data, const Kt_CliView& view, DataFormat format,
                   FileContent& content) {
    std::string reason;
    const DataOptions save = SaveOptions(format);
    const bool made =
        format == DataFormat::kMarkdown
            ? EncodeText(Kt_WString::FromUtf8(
                             MarkdownTable(view, {HasRowLimit() ? options_.rows : 0, decimals_})),
                         save.save_code_page.value_or(kCodePageUtf8), content.bytes, reason)
        : format == DataFormat::kXlsx
            ? kt::SaveXlsx(SheetOf(view, {HasRowLimit() ? options_.rows : 0, decimals_}),
                           content.bytes, reason)
            : SaveData(save, data, content, reason);
    return (made && Kt_WorkMeter::CurrentStop() == 0) || Fail(reason);
  }

  bool SaveResult(const Kt_Dataset& data, const Kt_CliView& view) {
    if (options_.save.empty()) return true;
    FileContent content;
    std::string error;
    if (!MakeContent(data, view, *DataFormatOf(options_.save), content)) return false;
    if (!WriteFileBytes(options_.save, content.View(), error)) {
      return Fail(fmt::format("cannot write '{}': {}", options_.save, error));
    }
    const kt_long rows = data.GetRowCount();
    TellWritten(fmt::format("{} row{} to {}", rows, rows == 1 ? "" : "s", options_.save));
    return true;
  }

  bool PrintData(const Kt_Dataset& data, const Kt_CliView& view) {
    if (!PrintsData()) return true;
    if (options_.json && !data_options_.save_code_page) {
      Kt_Buffer json;
      std::string reason;
      if (!ShownJson(data, Kt_JsonLayout::kList, json, reason)) return Fail(reason);
      streams_.out << json.View();
      return true;
    }
    const DataFormat format = options_.json  ? DataFormat::kJson
                              : options_.csv ? DataFormat::kCsv
                                             : DataFormat::kMarkdown;
    FileContent content;
    if (!MakeContent(data, view, format, content)) return false;
    streams_.out << content.View();
    return true;
  }

  const ShowOptions& options_;
  Streams streams_;
  Kt_CliReport report_;
  DataOptions data_options_;
  ColumnErrors column_errors_;
  std::vector<Kt_SqlRequest::Added> added_;
  Kt_Dataset dataset_;
  PushedDown pushed_;
  std::optional<Kt_ExprDataset> wrapper_;  // computes the columns
  std::optional<kt_long> decimals_;
  std::ptrdiff_t chart_column_ = -1;
};

void AddInput(CLI::App& show, ShowOptions& options) {
  show.add_option("FILE", options.file,
                  "The data: .csv, .tsv, .txt, .xml, .json, .jsonl, .ktb, .xlsx; a database as "
                  "sqlite:FILE or postgresql://HOST/NAME; - is the "
                  "standard input")
      ->required();
  AddDataOptions(show, options.data);
}

void AddArrangement(CLI::App& show, ShowOptions& options) {
  Arrangement& wanted = options.arrangement;
  const auto list = [&show](const char* name, std::string& value, const char* help) {
    show.add_option(name, value, help)->type_name("LIST");
  };
  show.add_option("--add", wanted.added,
                  "A column that is computed of others: \"worth=price * qty\"; a double, unless "
                  "its type is given: \"kind:string=left(item, 1)\"")
      ->type_name("NAME[:TYPE]=EXPR")
      ->allow_extra_args(false);
  show.add_option("--filter", wanted.filter, "Only the rows for which this is true")
      ->type_name("EXPR");
  list("--sort", wanted.sort, "By these columns: \"a,b:d\", d for descending");
  list("--columns", wanted.columns, "Only these columns, in this order");
  list("--group", wanted.group, "A subtotal for every set of equal values in these columns");
  show.add_flag("--totals-only", wanted.totals_only, "The groups without their rows");
  list("--sum", options.sum, "Total of these columns");
  list("--avg", options.avg, "Average of these columns");
  list("--max", options.max, "Greatest value of these columns");
  list("--min", options.min, "Least value of these columns");
  list("--count", options.count, "Number of values in these columns");
  show.add_option("--pivot", wanted.pivot,
                  "Cross table: keys down, keys across, values; then sum, avg, max, min or count")
      ->type_name("ROWS:COLUMNS:VALUES[:KIND]");
  show.add_flag("--explain", options.explain,
                "Say what of this a database does, by which statement, and what is done here, why");
  show.add_flag("--no-pushdown", options.no_pushdown,
                "Load all of a database's table and do everything here");
}

void AddOutput(CLI::App& show, ShowOptions& options) {
  constexpr kt_long kMost = 1'000'000'000;
  show.add_option("--rows", options.rows, "At most so many rows; 0 for all")
      ->type_name("N")
      ->check(CLI::Range(kt_long{0}, kMost));
  show.add_option("--width", options.width, "Cut to so many columns of text; 0 for uncut")
      ->type_name("N")
      ->check(CLI::Range(kt_long{0}, kt_long{100000}));
  show.add_option("--decimals", options.decimals, "Show exactly so many decimals")
      ->type_name("N")
      ->check(CLI::Range(kt_long{0}, kt_long{15}));
  show.add_flag("--show-types", options.types, "Show the types of the columns");
  show.add_flag("--states", options.states, "Show which rows were inserted or updated");
  show.add_option("--chart", options.chart, "Bars for the values of this column")
      ->type_name("COLUMN");
  show.add_option("--bars", options.bars, "At most so many bars (30)")
      ->type_name("N")
      ->check(CLI::Range(kt_long{1}, kt_long{10000}));
  CLI::Option* const json = show.add_flag("--json", options.json, "Print the result as JSON");
  CLI::Option* const csv =
      show.add_flag("--csv", options.csv, "Print the result as CSV")->excludes(json);
  show.add_flag("--markdown", options.markdown, "Print the result as a table of Markdown")
      ->excludes(json)
      ->excludes(csv);
  show.add_option("--html", options.html, "Write the result as a page")->type_name("FILE");
  show.add_option("--title", options.title, "Of the page")->type_name("TEXT");
  show.add_option("--save", options.save, "Write the result as data, in the format of the name")
      ->type_name("FILE");
  AddBoundOptions(show, options.bounds);
}

}  // namespace

void AddShow(CLI::App& app, Action& action) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App* const show = app.add_subcommand("show", "Show a file of data as a table or a chart");
  AddInput(*show, *options);
  AddArrangement(*show, *options);
  AddOutput(*show, *options);
  show->callback([options, &action] {
    const std::pair<Kt_Aggregate, const std::string&> totals[] = {
        {Kt_Aggregate::kSum, options->sum},
        {Kt_Aggregate::kAvg, options->avg},
        {Kt_Aggregate::kMax, options->max},
        {Kt_Aggregate::kMin, options->min},
        {Kt_Aggregate::kCount, options->count}};
    for (const auto& [kind, list] : totals) {
      if (!list.empty()) options->arrangement.totals.emplace_back(kind, list);
    }
    action = [options](Streams streams) {
      const Bounds bounds(options->bounds);
      const int status = Show(*options, streams).Run();
      return TellStop(options->file, streams) ? kScriptFault : status;
    };
  });
}

}  // namespace kt::cli
