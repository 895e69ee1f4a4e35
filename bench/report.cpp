#include "report.h"

#include "machine.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace zorvan::bench {

namespace {

constexpr char kTableRow[] = "{:<50} {:>8} {:>9} {:>9} {:>9} {:<6} {}{}\n";

std::string text(const Goal& goal) {
    switch (goal.kind) {
    case Goal::Kind::AtMost:
        return fmt::format("<= {:g}", goal.value);
    case Goal::Kind::AtLeast:
        return fmt::format(">= {:g}", goal.value);
    case Goal::Kind::None:
        break;
    }
    return "";
}

std::string figure(double value) {
    return value >= 1000 ? fmt::format("{:.0f}", value) : fmt::format("{:.4g}", value);
}

const char* kindForPlot(Goal::Kind kind) {
    switch (kind) {
    case Goal::Kind::AtMost:
        return "most";
    case Goal::Kind::AtLeast:
        return "least";
    case Goal::Kind::None:
        break;
    }
    return "none";
}

bool missed(const Row& row) {
    return !row.goal.reachedBy(row.figures.median);
}

void print(const std::string& line) {
    std::fputs(line.c_str(), stdout);
    std::fflush(stdout);
}

template <class Write>
void writeFile(const std::string& path, Write&& write) {
    std::ofstream file(path, std::ios::binary);
    std::forward<Write>(write)(file);
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path);
}

} // namespace

bool Goal::reachedBy(double measured) const {
    return kind == Kind::None || (kind == Kind::AtMost ? measured <= value : measured >= value);
}

Row ratioRow(
    const std::string& name, const Goal& goal, const Series& side, const Series& beside,
    const std::string& besideName) {
    return {name, goal, ratioOf(side, beside), kTimes, besideName + ": " + duration(spreadOf(beside).median)};
}

void to_json(nlohmann::json& json, const Row& row) {
    json = {{"name", row.name},           {"median", row.figures.median},
            {"least", row.figures.least}, {"greatest", row.figures.greatest},
            {"unit", row.unit},           {"beside", row.beside}};
    if (row.goal.kind == Goal::Kind::None)
        return;
    json[row.goal.kind == Goal::Kind::AtMost ? "at most" : "at least"] = row.goal.value;
    json["reached"] = !missed(row);
}

void from_json(const nlohmann::json& json, Row& row) {
    row.name = json.at("name");
    row.figures = {json.at("median"), json.at("least"), json.at("greatest")};
    row.unit = json.at("unit");
    row.beside = json.at("beside");
    if (json.contains("at most"))
        row.goal = atMost(json.at("at most"));
    else if (json.contains("at least"))
        row.goal = atLeast(json.at("at least"));
}

void writeRows(const std::string& path, const std::vector<Row>& rows) {
    writeFile(path, [&](std::ostream& file) { file << nlohmann::json(rows); });
}

std::vector<Row> readRows(const std::string& path) {
    std::ifstream file(path);
    return nlohmann::json::parse(file);
}

std::string duration(double seconds) {
    constexpr double kMicro = 1e-6;
    constexpr double kMilli = 1e-3;
    return seconds < kMilli ? fmt::format("{:.4g} us", seconds / kMicro) : fmt::format("{:.4g} ms", seconds / kMilli);
}

Report::Report() : machine_(describeMachine()) {
    print(machine_ + "\n\n");
    print(fmt::format(kTableRow, "what", "goal", "median", "least", "greatest", "unit", "beside", ""));
}

void Report::add(Row row) {
    const auto& figures = row.figures;
    print(fmt::format(
        kTableRow, row.name, text(row.goal), figure(figures.median), figure(figures.least), figure(figures.greatest),
        row.unit, row.beside, missed(row) ? "  MISSED" : ""));
    rows_.push_back(std::move(row));
}

void Report::printEnd() const {
    const auto count = std::count_if(rows_.begin(), rows_.end(), missed);
    print(count == 0 ? "\nEvery goal is reached.\n" : fmt::format("\nGoals missed: {}\n", count));
}

void Report::writeJson(const std::string& path) const {
    const nlohmann::json all = {{"machine", machine_}, {"rows", rows_}};
    writeFile(path, [&](std::ostream& file) { file << all.dump(2) << '\n'; });
}

void Report::writePlotData(const std::string& path) const {
    writeFile(path, [&](std::ostream& file) {
        file << "# " << machine_ << '\n';
        for (const auto& [name, goal, figures, unit, beside] : rows_)
            if (unit == kTimes)
                file << fmt::format(
                    "\"{}\" {} {} {} {} {}\n", name, figures.median, figures.least, figures.greatest,
                    kindForPlot(goal.kind), goal.value);
    });
}

} // namespace zorvan::bench
