#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace ZEMRA::Vibration::accuracy {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The worst of some errors, and the largest share that one takes of its own bound.
struct Worst {
    double error = 0.0, share = 0.0;

    void Take(double newError, double bound);
    void Take(const Worst& other);
};

/// The errors found, by quantity and family of models, each beside the bound it is held to.
class Table {
  public:
    /// Starts a quantity, under which all that follows is entered.
    ///   unit     what its errors are measured in
    ///   bound    what they are held to, and why
    ///   allowed  the share of cases that may miss the bound
    void Begin(const std::string& quantity, const std::string& unit, const std::string& bound,
               double allowed = 0.0);

    /// Enters a case: a matrix, a model or a signal.
    void Add(const std::string& family, const std::string& name, const Worst& worst);
    /// Enters a case that the library warned of, or refused (an infinite error): it is held to
    /// nothing. Not a number stands for nothing to judge.
    void Warned(const std::string& family, const std::string& name, double error);

    /// Markdown, without the heading of the page.
    void Print(std::ostream& out) const;
    /// The cases beyond their bound, a line each, where more of them miss it than may.
    std::vector<std::string> Broken() const;
    std::size_t Cases() const;

  private:
    struct Row {
        std::string family;
        std::size_t cases = 0;
        Worst worst;
        std::string where;  // the case of the largest share
        std::vector<std::string> missed;
        std::map<std::string, double> warned;
    };
    struct Quantity {
        std::string title, unit, bound;
        double allowed;
        std::vector<Row> rows;
        Row& At(const std::string& family);
    };
    std::vector<Quantity> quantities_;
};

}  // namespace ZEMRA::Vibration::accuracy
