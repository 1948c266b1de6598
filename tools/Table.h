#pragma once
// A plain-text table with aligned columns, for the tool's reports.

#include <ostream>
#include <string>
#include <vector>

namespace videoDeviceTool {

class Table {
 public:
  explicit Table(std::vector<std::string> header);
  void addRow(std::vector<std::string> row);
  void print(std::ostream& out) const;

 private:
  std::vector<std::string> _header;
  std::vector<std::vector<std::string>> _rows;
};

// Fixed-point text, e.g. formatFixed(1.234, 1) == "1.2".
std::string formatFixed(double value, int decimals);

}  // namespace videoDeviceTool
