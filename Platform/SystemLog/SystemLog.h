#pragma once

#include <array>
#include <string>
#include <string_view>

namespace platform {

/// The priorities of the system's journal that are used, as syslog(3) numbers them.
enum class SystemLogPriority { error = 3, notice = 5, info = 6, debug = 7 };

/// The fields of one line as the journal takes them, "NAME=value": MESSAGE, PRIORITY, SYSLOG_IDENTIFIER and
/// CATEGORY. A value keeps its line feeds.
std::array<std::string, 4> systemLogFields(SystemLogPriority priority, std::string_view subsystem,
                                           std::string_view category, std::string_view message);

/// One line in the system's journal, with the fields of `systemLogFields`. Silently nothing where
/// there is no journal. Any thread may call.
void writeSystemLog(SystemLogPriority priority, std::string_view subsystem, std::string_view category,
                    std::string_view message) noexcept;

}  // namespace platform
