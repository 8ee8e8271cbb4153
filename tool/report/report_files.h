#pragma once

#include <string_view>

namespace tintwell::tool {

// The files of tool/report/, which become part of the program when it is built.

extern const std::string_view kReportPage; ///< a template, see page_template.h
extern const std::string_view kReportStyle;
extern const std::string_view kReportScript;

} // namespace tintwell::tool
