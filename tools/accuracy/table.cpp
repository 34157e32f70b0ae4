#include "tools/accuracy/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ZEMRA::Vibration::accuracy {
namespace {

std::string Short(double x) {
    char text[32];
    std::snprintf(text, sizeof text, x == 0.0 || (x >= 0.01 && x < 1000) ? "%.2g" : "%.1e", x);
    return text;
}

std::string Remark(double error) {
    return std::isnan(error)   ? " (nothing to judge)"
           : std::isinf(error) ? " (refused)"
                               : " (" + Short(error) + ')';
}

}  // namespace

void Worst::Take(double newError, double bound) {
    double newShare = newError == 0.0 ? 0.0 : newError / bound;
    if (!(newShare >= 0.0)) newShare = kInfinity;  // not a number
    Take({newError >= 0.0 ? newError : kInfinity, newShare});
}

void Worst::Take(const Worst& other) {
    error = std::max(error, other.error);
    share = std::max(share, other.share);
}

Table::Row& Table::Quantity::At(const std::string& family) {
    for (Row& row : rows)
        if (row.family == family) return row;
    rows.push_back({family, 0, {}, {}, {}, {}});
    return rows.back();
}

void Table::Begin(const std::string& quantity, const std::string& unit,
                  const std::string& bound, double allowed) {
    quantities_.push_back({quantity, unit, bound, allowed, {}});
}

void Table::Add(const std::string& family, const std::string& name, const Worst& worst) {
    Row& row = quantities_.back().At(family);
    ++row.cases;
    if (worst.share > row.worst.share) row.where = name;
    row.worst.Take(worst);
    if (worst.share > 1.0)
        row.missed.push_back(name + " (" + Short(worst.error) + ", " + Short(worst.share) +
                             " times its bound)");
}

void Table::Warned(const std::string& family, const std::string& name, double error) {
    quantities_.back().At(family).warned[name] = error;
}

std::vector<std::string> Table::Broken() const {
    std::vector<std::string> broken;
    for (const Quantity& quantity : quantities_) {
        std::size_t cases = 0;
        std::vector<std::string> missed;
        for (const Row& row : quantity.rows) {
            cases += row.cases;
            for (const std::string& one : row.missed)
                missed.push_back(quantity.title + ", " + row.family + ": " + one);
        }
        if (static_cast<double>(missed.size()) > quantity.allowed * static_cast<double>(cases))
            broken.insert(broken.end(), missed.begin(), missed.end());
    }
    return broken;
}

std::size_t Table::Cases() const {
    std::size_t count = 0;
    for (const Quantity& quantity : quantities_)
        for (const Row& row : quantity.rows) count += row.cases + row.warned.size();
    return count;
}

void Table::Print(std::ostream& out) const {
    for (const Quantity& quantity : quantities_) {
        out << "## " << quantity.title << "\n\nMeasured in " << quantity.unit << ".\nHeld to "
            << quantity.bound << ".\n\n"
            << "| Family | Cases | Worst error | Largest share of the bound | Where | Beyond "
               "it "
               "|\n|---|---:|---:|---:|---|---:|\n";
        std::string missed, warned;
        for (const Row& row : quantity.rows) {
            if (row.cases > 0)
                out << "| " << row.family << " | " << row.cases << " | "
                    << Short(row.worst.error) << " | " << Short(row.worst.share) << " | "
                    << row.where << " | " << row.missed.size() << " |\n";
            for (const std::string& one : row.missed)
                missed += (missed.empty() ? "" : ", ") + one;
            for (const auto& [name, error] : row.warned)
                warned += (warned.empty() ? "" : ", ") + name + Remark(error);
        }
        out << '\n';
        if (!missed.empty() && quantity.allowed < 1.0)
            out << "Beyond the bound: " << missed << ".\n\n";
        if (!warned.empty())
            out << "The library warned of these or refused them, and they are held to nothing; "
                   "with their errors: "
                << warned << ".\n\n";
    }
}

}  // namespace ZEMRA::Vibration::accuracy
