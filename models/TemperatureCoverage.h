// The temperatures at which functions of a database have a value: where one of
// their pieces covers T and every function that piece reads has a value too.
//
// The kernel gives a function whose pieces do not cover T the value 0, without
// a word; a function the reader could not take has no pieces at all.  This
// tells, before anything is evaluated, which temperatures are real for a
// symbol function, a parameter or a whole phase, so that the tool can refuse
// exactly the temperatures outside them and show each phase's range.
#ifndef MODELS_TEMPERATURECOVERAGE_H
#define MODELS_TEMPERATURECOVERAGE_H

#include <string>
#include <vector>

class ThermDatabase;
class TThermFkt;

class TemperatureCoverage
{
public:
    struct Interval
    {
        double low, high;  //!< [K], both included
    };
    //! Disjoint intervals in ascending order; touching pieces are joined.
    using Set = std::vector<Interval>;

    //! Works out the set of every symbol function of db (which must outlive this).
    explicit TemperatureCoverage(ThermDatabase& db);

    //! The set of symbol function index (empty for an unknown index).
    const Set& symbol(int index) const;
    //! The set of any function of the database (a parameter or a symbol).
    Set function(const TThermFkt& f) const;
    //! Where every parameter the phase's evaluator sums (its disordered part,
    //! magnetic and property terms included) has a value: the phase's
    //! evaluable temperatures.
    Set phase(int phaseIndex) const;

    //! Empty when f (called name) has a value at T; else why not, naming the
    //! function whose pieces miss T (f or one it reads there) and its ranges.
    std::string whyNot(const TThermFkt& f, const std::string& name, double T) const;

    static bool contains(const Set& set, double T);
    //! "298.15 to 6000 K", "300 to 1000 K and 1200 to 3000 K", "none"
    static std::string text(const Set& set);

private:
    // Pieces of f (each its own range) intersected with what they read.
    Set compute(const TThermFkt& f) const;
    const Set& symbolComputed(int index) const;
    std::string symbolName(int index) const;

    ThermDatabase& db_;
    mutable std::vector<Set> symbols_;
    mutable std::vector<char> state_;  //!< per symbol: 0 not yet, 1 being worked out, 2 done
};

#endif
