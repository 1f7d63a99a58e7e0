// What the command says on standard output: aligned tables for people, or with --json one JSON object a line.
#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "cli/json.h"

namespace poaloc {

// One column of a table and member of the JSON objects. title: as in "Dynamic registration"; key: as in
// "dynamic_registration". What a table shows follows from the value: see cell_text.
template <class Row>
struct Column {
  const char* title;
  const char* key;
  Json (*value)(const Row& row);
};
template <class Row>
using Columns = std::vector<Column<Row>>;

// Raises a Failure when it cannot be written, an empty one when nobody reads it any more.
class Output {
 public:
  // terminal: out is one, so that headings stand out and somebody is told on notes that a list is empty.
  Output(std::ostream& out, std::ostream& notes, bool json, bool terminal)
      : m_out(out), m_notes(notes), m_json(json), m_terminal(terminal) {}

  bool json() const { return m_json; }

  // A table of all rows, written by end(). As JSON each row is written when it is added.
  template <class Row>
  class Listing {
   public:
    // empty: the sentence for people when there are no rows.
    Listing(Output& output, const Columns<Row>& columns, std::string empty)
        : m_output(output), m_columns(columns), m_empty(std::move(empty)) {}

    void add(const Row& row) {
      if (m_output.json()) return m_output.object(to_object(m_columns, row));
      std::vector<Json> values;
      for (const auto& column : m_columns) values.push_back(column.value(row));
      m_rows.push_back(to_cells(values));
    }
    // Prints nothing for no rows, because scripts count lines.
    void end() {
      if (m_output.json()) return;
      if (m_rows.empty()) return m_output.note_empty(m_empty);
      std::vector<std::string> titles;
      for (const auto& column : m_columns) titles.push_back(column.title);
      m_output.table(titles, m_rows);
    }

   private:
    Output& m_output;
    const Columns<Row>& m_columns;
    const std::string m_empty;
    std::vector<std::vector<std::string>> m_rows;
  };

  // One thing: a line for each column.
  template <class Row>
  void record(const Columns<Row>& columns, const Row& row) {
    if (m_json) return object(to_object(columns, row));
    std::vector<std::pair<std::string, std::string>> lines;
    for (const auto& column : columns) lines.emplace_back(column.title, to_cells({column.value(row)}).front());
    fields(lines);
  }

  // What was done: a sentence for people, an object for programs.
  void outcome(const std::string& sentence, const Json& json) { m_json ? object(json) : line(sentence); }

  void line(const std::string& text);
  // As it is.
  void text(const std::string& text);
  void object(const Json& json) { line(to_line(json)); }
  // Names and values in two columns.
  void fields(const std::vector<std::pair<std::string, std::string>>& lines);
  void heading(const std::string& text);
  void flush();

 private:
  template <class Row>
  static Json to_object(const Columns<Row>& columns, const Row& row) {
    Json result = Json::object();
    for (const auto& column : columns) result[column.key] = column.value(row);
    return result;
  }
  static std::vector<std::string> to_cells(const std::vector<Json>& values);
  void table(const std::vector<std::string>& titles, const std::vector<std::vector<std::string>>& rows);
  void note_empty(const std::string& sentence);
  std::string emphasised(const std::string& text) const;
  void check() const;

  std::ostream& m_out;
  std::ostream& m_notes;
  const bool m_json;
  const bool m_terminal;
};

}  // namespace poaloc
