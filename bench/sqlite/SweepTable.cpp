#include "sqlite/SweepTable.h"

#include "BatchRows.h"

namespace bench {

SweepTable::SweepTable(const std::string& kinds, std::size_t rowCount, std::size_t textLength,
                       std::size_t statementCount)
    : rows(rowCount), statements(statementCount) {
  batch.table("wide");
  selector.table("wide");
  selector.limit(static_cast<unsigned int>(rows), 0);
  std::string names;
  std::string marks;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    Integers integers;
    Texts texts;
    Reals reals;
    for (std::size_t row = 0; row < rows; ++row) {
      if (kinds[i] == 'i') integers.push_back(static_cast<long>(row));
      if (kinds[i] == 't') texts.push_back(sampleText(row, textLength));
      if (kinds[i] == 'r') reals.push_back(static_cast<double>(row % 4096) * 0.25);
    }
    if (kinds[i] == 'i') columns.emplace_back(std::move(integers));
    if (kinds[i] == 't') columns.emplace_back(std::move(texts));
    if (kinds[i] == 'r') columns.emplace_back(std::move(reals));

    const std::string name = std::string("c").append(std::to_string(i));
    std::visit([&](const auto& values) { fillColumn(batch, name, values); }, columns.back());
    selector.select(name);
    names.append(i == 0 ? "" : ",").append(name);
    marks.append(i == 0 ? "?" : ",?");
  }
  schema = "create table wide (" + names + ")";
  insertText = "insert into wide (" + names + ") values(" + marks + ")";
}

}  // namespace bench
