// ReportStyle.h - the fixed parts of a report's page.
#pragma once

namespace Kestrova {

extern const char* const kReportStyle;   // of a <style> element
extern const char* const kReportScript;  // of a <script> element: search, sorting and play buttons

}  // namespace Kestrova
