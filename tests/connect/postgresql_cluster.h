// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "connect/connect_test_util.h"

// Of the table `orders` of examples/cluster.
inline constexpr int kRows = 4000;

// Servers of this test in a temporary folder, stopped at its end.
class Cluster {
 public:
  explicit Cluster(int shards, int rows = kRows) {
    std::string pattern = (std::filesystem::temp_directory_path() / "kt_cl_XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) return;
    folder_ = std::filesystem::canonical(pattern).string();
    std::filesystem::permissions(folder_, std::filesystem::perms(0755));
    said_ = Output(std::string(KT_CLUSTER_SCRIPT) + " start " + std::to_string(shards) + " " +
                   folder_ + " " + std::to_string(rows));
    if (said_.starts_with("postgresql://")) url_ = said_;
  }
  Cluster(const Cluster&) = delete;
  Cluster& operator=(const Cluster&) = delete;
  ~Cluster() {
    Output(std::string(KT_CLUSTER_SCRIPT) + " stop " + folder_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  bool IsThere() const { return !url_.empty(); }
  const std::string& WhyNot() const { return said_; }
  Kt_DatabaseUrl Url(const std::string& query, const std::string& table = "",
                     const std::string& user = "kt") const {
    Kt_DatabaseUrl url;
    std::string reason;
    std::string text = url_ + "&timeout=10";
    text.replace(text.find("//kt@"), std::size("//kt@") - 1, "//" + user + "@");
    EXPECT_TRUE(Kt_DatabaseUrl::Parse(text, url, reason)) << reason;
    url.query = query;
    url.table = table;
    return url;
  }
  // On one of the servers: "asked", "shard0"...
  std::string Run(const std::string& server, const std::string& statement) const {
    std::ifstream file(folder_ + "/" + server + "/data/postmaster.pid");
    std::string port;
    for (int line = 0; line < 4; ++line) std::getline(file, port);
    return Output("psql -X -q -A -t -F, -R'|' -h " + folder_ + "/" + server + " -p " + port +
                  " -U kt -c \"" + statement + "\" shop");
  }
  void Kill(const std::string& server) const {
    Output(std::string(KT_POSTGRESQL_SCRIPT) + " stop " + folder_ + "/" + server);
  }
  void StartAgain(const std::string& server) const {
    Output(std::string(KT_POSTGRESQL_SCRIPT) + " again " + folder_ + "/" + server);
  }

  // The answer to a statement, or "!" and the reason.
  std::string Asked(const std::string& query, const std::string& user = "kt") const {
    Kt_Dataset answer(u"answer");
    std::string error;
    if (kt::LoadDatabase(Url(query, "", user), {}, answer, error) < 0) return "!" + error;
    return Shown(answer);
  }
  // The statements that the server asked sends to the shards, by its plan.
  static std::vector<std::string> SentOf(const std::string& plan) {
    std::vector<std::string> sent;
    constexpr std::string_view kMark = "Remote SQL: ";
    for (std::size_t at = plan.find(kMark); at != plan.npos; at = plan.find(kMark, at)) {
      at += kMark.size();
      sent.push_back(plan.substr(at, plan.find('|', at) - at));
    }
    return sent;
  }

 private:
  static std::string Output(const std::string& command) {
    std::string text;
    if (std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r")) {
      for (int unit = std::fgetc(pipe); unit != EOF; unit = std::fgetc(pipe)) {
        text += static_cast<char>(unit);
      }
      ::pclose(pipe);
    }
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
  }

  std::string folder_;
  std::string said_;
  std::string url_;
};
