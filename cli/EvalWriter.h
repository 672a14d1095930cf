// Writers of an eval grid that take the points one at a time, in the order
// they are computed, so that a grid of any size is written with the memory of
// one point.  A point the kernel refused is written as such: in JSON an entry
// with "refused" and the reason instead of values, in CSV a row with empty
// value fields, in the table a row "refused: reason".
#ifndef CLI_EVALWRITER_H
#define CLI_EVALWRITER_H

#include <memory>
#include <ostream>
#include <string>

#include "cli/Output.h"

namespace thermfn {

class EvalWriter
{
public:
    virtual ~EvalWriter() = default;
    //! Before the first point.
    virtual void begin() {}
    //! A point of composition number composition (of the layout's compositions).
    virtual void point(size_t composition, const PhaseProperties& p) = 0;
    //! A point that has no values, with the reason.
    virtual void refused(size_t composition, double T, double P, const std::string& why) = 0;
    //! After the last point.
    virtual void end() {}
};

// layout gives the phase, its variables and the compositions (its points are
// not used); it must outlive the writer.
std::unique_ptr<EvalWriter> makeJsonEvalWriter(std::ostream& out, const EvalResults& layout, bool hessian);
std::unique_ptr<EvalWriter> makeCsvEvalWriter(std::ostream& out, const EvalResults& layout, bool hessian);
std::unique_ptr<EvalWriter> makeTableEvalWriter(std::ostream& out, const EvalResults& layout);

}  // namespace thermfn

#endif
