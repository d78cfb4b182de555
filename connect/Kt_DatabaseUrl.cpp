// SPDX-License-Identifier: MIT
#include "connect/Kt_DatabaseUrl.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

namespace {

constexpr std::string_view kSqlite = "sqlite:";
constexpr std::string_view kServers[] = {"postgresql://", "postgres://"};
constexpr std::string_view kHidden = "***";
constexpr int kMaxTimeoutSeconds = 86400;

// The prefix that the text begins with; empty for none.
std::string_view ServerPrefix(std::string_view text) {
  for (const std::string_view prefix : kServers) {
    if (text.starts_with(prefix)) return prefix;
  }
  return {};
}

// Nothing when a % is followed by something else than two hexadecimal digits, or makes a zero.
std::optional<std::string> Decoded(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      out += text[at];
      continue;
    }
    unsigned byte = 0;
    const char* const first = text.data() + at + 1;
    if (at + 2 >= text.size() || std::from_chars(first, first + 2, byte, 16).ptr != first + 2 ||
        byte == 0) {
      return std::nullopt;
    }
    out += static_cast<char>(byte);
    at += 2;
  }
  return out;
}

// The text before `separator`, which it loses with it; all of it when there is none.
std::string_view TakeUntil(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

class UrlReader {
 public:
  UrlReader(Kt_DatabaseUrl& url, std::string& reason) : url_(url), reason_(reason) {}

  bool Read(std::string_view text) {
    url_.shown = kt::WithoutPasswords(text);
    const std::string_view server = ServerPrefix(text);
    text.remove_prefix(server.empty() ? kSqlite.size() : server.size());
    std::string_view place = TakeUntil(text, '?');
    url_.kind = server.empty() ? Kt_DatabaseUrl::Kind::kSqlite : Kt_DatabaseUrl::Kind::kPostgresql;
    if (server.empty() ? !ReadFile(place) : !ReadServer(place)) return false;
    while (!text.empty()) {
      if (!ReadSetting(text)) return false;
    }
    if (!url_.table.empty() && !url_.query.empty()) return Fail("either table or query");
    if (url_.HasSelection() && url_.table.empty()) {
      return Fail("filter, sort, limit and columns go with table; a query says that itself");
    }
    return true;
  }

 private:
  bool Fail(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }

  bool Decode(std::string_view text, std::string& out) {
    std::optional<std::string> decoded = Decoded(text);
    if (!decoded) return Fail("a % that is not followed by two hexadecimal digits; %25 is a %");
    out = std::move(*decoded);
    return true;
  }

  bool ReadFile(std::string_view place) {
    if (!Decode(place, url_.file)) return false;
    return !url_.file.empty() || Fail("expected a file after 'sqlite:'");
  }

  bool ReadServer(std::string_view place) {
    std::string_view authority = TakeUntil(place, '/');
    if (const std::size_t at = authority.rfind('@'); at != authority.npos) {
      std::string_view user = authority.substr(0, at);
      authority.remove_prefix(at + 1);
      if (!Decode(TakeUntil(user, ':'), url_.user) || !Decode(user, url_.password)) return false;
    }
    if (authority.starts_with('[')) {  // a number with colons
      authority.remove_prefix(1);
      url_.host = TakeUntil(authority, ']');
      if (!authority.empty() && TakeUntil(authority, ':').empty()) url_.port = authority;
    } else {
      if (!Decode(TakeUntil(authority, ':'), url_.host)) return false;
      url_.port = authority;
    }
    // The client library would take a list of servers.
    if (url_.host.find(',') != url_.host.npos) return Fail("expected one host");
    if (url_.port.find_first_not_of("0123456789") != url_.port.npos) {
      return Fail("the port is no number");
    }
    return Decode(place, url_.database);
  }

  bool ReadSetting(std::string_view& text) {
    if (TakeRest(text, "query=", url_.query)) {
      return !url_.query.empty() || Fail("expected a statement after 'query='");
    }
    if (TakeRest(text, "filter=", url_.filter)) {
      return !url_.filter.empty() || Fail("expected an expression after 'filter='");
    }
    std::string_view value = TakeUntil(text, '&');
    const std::string_view name = TakeUntil(value, '=');
    if (name == "table") return Decode(value, url_.table);
    if (name == "sort") return Decode(value, url_.sort);
    if (name == "columns") return Decode(value, url_.columns);
    if (name == "limit") return ReadLimit(value);
    if (name == "timeout") return ReadTimeout(value);
    const bool is_server = url_.kind == Kt_DatabaseUrl::Kind::kPostgresql;
    if (is_server && name == "sslmode") return Decode(value, url_.sslmode);
    if (is_server && name == "host" && url_.host.empty()) {
      return Decode(value, url_.host) &&
             (url_.host.find(',') == url_.host.npos || Fail("expected one host"));
    }
    return Fail("unknown part '" + std::string(name) +
                "' (table, query, filter, sort, limit, columns, timeout" +
                (is_server ? ", sslmode, host)" : ")"));
  }

  // The last part, which is not decoded.
  static bool TakeRest(std::string_view& text, std::string_view name, std::string& rest) {
    if (!text.starts_with(name)) return false;
    rest = text.substr(name.size());
    text = {};
    return true;
  }

  static bool ReadNumber(std::string_view value, int most, int& number) {
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    return error == std::errc() && stop == end && number >= 1 && number <= most;
  }

  bool ReadTimeout(std::string_view value) {
    int seconds = 0;
    if (!ReadNumber(value, kMaxTimeoutSeconds, seconds)) {
      return Fail("timeout: expected seconds from 1 to 86400");
    }
    url_.timeout = std::chrono::seconds(seconds);
    return true;
  }

  bool ReadLimit(std::string_view value) {
    return ReadNumber(value, std::numeric_limits<int>::max(), url_.limit) ||
           Fail("limit: expected a number of rows");
  }

  Kt_DatabaseUrl& url_;
  std::string& reason_;
};

// Where the password of a URL stands whose part after "//" begins at `start`. A text that should
// have been encoded counts too: the last @ before a blank, a quote or a ? ends it.
std::string_view PasswordAt(std::string_view text, std::size_t start) {
  const std::string_view rest = text.substr(start);
  const std::string_view place = rest.substr(0, rest.find_first_of("?\"' \t\r\n"));
  const std::size_t colon = place.find(':');
  std::size_t end = place.rfind('@');
  if (end == place.npos) end = place.find("\u2026");  // a message may have cut it
  if (end == place.npos || colon == place.npos || colon > end) return {};
  return place.substr(colon + 1, end - colon - 1);
}

}  // namespace

bool Kt_DatabaseUrl::IsUrl(std::string_view text) {
  return text.starts_with(kSqlite) || !ServerPrefix(text).empty();
}

bool Kt_DatabaseUrl::Parse(std::string_view text, Kt_DatabaseUrl& url, std::string& reason) {
  url = {};
  if (!IsUrl(text)) {
    reason = "expected sqlite:FILE or postgresql://HOST/DATABASE";
    return false;
  }
  if (text.find('\0') != text.npos) {
    reason = "a zero in the name of a database";
    return false;
  }
  return UrlReader(url, reason).Read(text);
}

std::string kt::WithoutPasswords(std::string_view text) {
  std::string out;
  std::size_t done = 0;
  const auto hide = [&](std::string_view secret) {
    const auto at = static_cast<std::size_t>(secret.data() - text.data());
    if (secret.empty() || at < done) return;
    out += text.substr(done, at - done);
    out += kHidden;
    done = at + secret.size();
  };
  for (std::size_t at = text.find("://"); at != text.npos; at = text.find("://", at + 1)) {
    const std::string_view before = text.substr(0, at + 3);
    if (std::ranges::none_of(kServers, [&](auto name) { return before.ends_with(name); })) continue;
    hide(PasswordAt(text, at + 3));
    // As a setting it is refused, but it was written.
    const std::string_view rest = text.substr(at, text.find_first_of("\"' \t\r\n", at) - at);
    constexpr std::string_view kSetting = "password=";
    const std::size_t setting = rest.find(kSetting);
    if (setting == rest.npos) continue;
    const std::string_view value = rest.substr(setting + kSetting.size());
    hide(value.substr(0, value.find('&')));
  }
  return done == 0 ? std::string(text) : out + std::string(text.substr(done));
}
