#include "PhaseEvaluator.h"

#include "EvaluationRefusal.h"
#include "IonicLiquidPhase.h"
#include "PropertyTerms.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "PartitionedPhase.h"
#include "database/PhasePartition.h"
#include "database/PieceReferences.h"
#include "database/ThermDatabase.h"
#include "host/myCString.h"
#include "thermfunctions/TTempArray.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermTPolynom.h"

namespace {
// Function type codes of the records that make up the model.
constexpr int kTypeGibbs = 0;
constexpr int kTypeCurie = 10;
constexpr int kTypeMoment = 20;

// Constituent entries of one record (the size of its site-fraction pointer table).
constexpr int kMaxEntries = 10;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// A reciprocal parameter of order 1 or 2: an interaction in two sublattices
// (two constituents in each).  The field weights these differently from the
// kernel (see the header), so the evaluator forms their value and derivatives
// itself.  Order 0 has no difference factor and is the kernel's business.
bool IsWeightedReciprocal(const TThermFktData& d)
{
    const int n = d.m_nConstituents, p = d.m_nInteractPos[0], q = d.m_nInteractPos[1];
    return d.m_nInteractionLevel == 1 && (d.m_nOrder == 1 || d.m_nOrder == 2) && n <= kMaxEntries && p >= 0 &&
           p + 1 < n && q >= 0 && q + 1 < n;
}

// F = G(T) * Q(y) of a reciprocal parameter of order k, with
// Q = prod_e y_e * (y_p - y_(p+1)) for k = 1 and Q = prod_e y_e * (y_q - y_(q+1))
// for k = 2 (p, q the first entries of the two interacting sublattices, whose
// constituents the reader sorted by name).  Returns F; for order >= 1 adds the
// derivatives where the kernel would add them for its type.  Q is a product of
// m factors, each linear in the site fractions with coefficients +1 or -1 on
// one or two entries, so
//   dQ/dy_e        = sum over factors j of c_je * (product of the others),
//   d2Q/dy_e dy_g  = sum over pairs j != l of c_je * c_lg * (product of the rest).
// The products that leave one or two factors out come from prefix and suffix
// products: nothing is divided by a site fraction, and a fraction of zero
// gives the exact limit.
double AddReciprocalTerm(const TThermFkt& f, double* const* y, int order, int tp, myCArray<double, double>& grad,
                         CVxMatrix& hess, CVxMatrix* hessGT)
{
    const TThermFktData& d = *f.m_pFktData;
    const int n = d.m_nConstituents;
    const int first = d.m_nOrder == 1 ? d.m_nInteractPos[0] : d.m_nInteractPos[1];
    const int* a = d.m_nVarPos;

    constexpr int kMaxFactors = kMaxEntries + 1;
    double value[kMaxFactors];
    int entry[kMaxFactors][2];  // entries with a nonzero coefficient; -1 for none
    double coef[kMaxFactors][2];
    int m = 0;
    for (int e = 0; e < n; ++e, ++m) {
        value[m] = *y[e];
        entry[m][0] = e;
        entry[m][1] = -1;
        coef[m][0] = 1.0;
        coef[m][1] = 0.0;
    }
    value[m] = *y[first] - *y[first + 1];
    entry[m][0] = first;
    entry[m][1] = first + 1;
    coef[m][0] = 1.0;
    coef[m][1] = -1.0;
    ++m;
    double pre[kMaxFactors + 1], suf[kMaxFactors + 1];
    pre[0] = 1.0;
    for (int j = 0; j < m; ++j) pre[j + 1] = pre[j] * value[j];
    suf[m] = 1.0;
    for (int j = m - 1; j >= 0; --j) suf[j] = suf[j + 1] * value[j];
    const double Q = pre[m];
    const double G = f.m_dValue, GT = f.m_dValueT;
    if (order < 1) return G * Q;

    double dQ[kMaxEntries] = {};
    for (int j = 0; j < m; ++j) {
        const double others = pre[j] * suf[j + 1];
        for (int c = 0; c < 2; ++c)
            if (entry[j][c] >= 0) dQ[entry[j][c]] += coef[j][c] * others;
    }
    for (int e = 0; e < n; ++e)
        if (a[e] >= 0) grad.ElementAt(a[e]) += G * dQ[e];
    grad.ElementAt(tp) += GT * Q;
    if (order < 2) return G * Q;

    for (int e = 0; e < n; ++e) {
        if (a[e] < 0) continue;
        hess(a[e], tp) += GT * dQ[e];
        hess(tp, a[e]) += GT * dQ[e];
    }
    hess(tp, tp) += f.m_dValueTT * Q;
    hess(tp + 1, tp + 1) += f.m_dValueTTT * Q;
    // Each unordered pair of factors stands for both orders (j, l) and (l, j):
    // it adds to (a_e, a_g) and to (a_g, a_e), twice to the diagonal when both
    // factors hold the same variable.
    for (int j = 0; j < m; ++j) {
        double between = pre[j];  // factors before l, without j
        for (int l = j + 1; l < m; ++l) {
            const double rest = between * suf[l + 1];
            between *= value[l];
            for (int cj = 0; cj < 2; ++cj) {
                const int ej = entry[j][cj];
                if (ej < 0 || a[ej] < 0) continue;
                for (int cl = 0; cl < 2; ++cl) {
                    const int el = entry[l][cl];
                    if (el < 0 || a[el] < 0) continue;
                    const double h = coef[j][cj] * coef[l][cl] * rest;
                    hess(a[ej], a[el]) += G * h;
                    hess(a[el], a[ej]) += G * h;
                    if (hessGT != nullptr) {
                        (*hessGT)(a[ej], a[el]) += GT * h;
                        (*hessGT)(a[el], a[ej]) += GT * h;
                    }
                }
            }
        }
    }
    return G * Q;
}

// The value part of out, and its vectors sized for n variables (allocating
// only the first time).
void SetValueAndSizes(PhaseProperties& out, double T, double P, double G, double atoms, int n)
{
    const size_t dim = static_cast<size_t>(n + 1);
    out.T = T;
    out.P = P;
    out.G = G;
    out.atoms = atoms;
    out.GM = G / atoms;
    if (out.dG_dy.size() != dim - 1) out.dG_dy.resize(dim - 1);
    if (out.hessian.size() != dim * dim) out.hessian.resize(dim * dim);
}

// True when the kernel found no piece for the last temperature although the
// function has pieces: its value 0 would stand in for a missing one.  A
// disabled function is 0 by decision, whatever its ranges.
bool OutsideItsRanges(const TThermFkt& f)
{
    return !f.m_pFktData->m_bDisabled && f.m_PolyIndex.m_nSize > 0 && f.m_pActPoly == nullptr;
}

// "300 to 1000 K", pieces that meet joined, those apart listed one by one, in
// the order the range search takes them.
std::string RangesText(TThermFkt& f)
{
    myCArray<TThermTPolynom*, TThermTPolynom*>& polys = f.m_pDataMgr->m_PolynomArray;
    std::string text;
    char buf[64];
    for (int i = 0; i < f.m_PolyIndex.m_nSize;) {
        const TThermTPolynom* piece = polys.ElementAt(f.m_PolyIndex.ElementAt(i));
        const double low = piece->m_dTLow;
        double high = piece->m_dTHigh;
        for (++i; i < f.m_PolyIndex.m_nSize; ++i) {
            const TThermTPolynom* next = polys.ElementAt(f.m_PolyIndex.ElementAt(i));
            if (next->m_dTLow != high) break;
            high = next->m_dTHigh;
        }
        std::snprintf(buf, sizeof buf, "%g to %g K", low, high);
        if (!text.empty()) text += ", ";
        text += buf;
    }
    return text;
}
}  // namespace

PhaseEvaluator::PhaseEvaluator(ThermDatabase& db, int phaseIndex, Part part)
    : db_(db), phase_(nullptr), gibbs_(nullptr), list_(nullptr), phaseIndex_(phaseIndex)
{
    if (phaseIndex < 0 || phaseIndex >= static_cast<int>(db.phases.size())) {
        why_ = "no phase number " + std::to_string(phaseIndex) + " in the database";
        return;
    }
    ThermDatabase::PhaseRecord& rec = db.phases[static_cast<size_t>(phaseIndex)];
    phase_ = rec.phase.get();
    gibbs_ = rec.gibbs.get();
    list_ = rec.functions.get();

    n_ = phase_->m_nVarCount;
    const size_t n = static_cast<size_t>(n_);
    atomsPerVariable_.assign(n, 0.0);
    sitesPerVariable_.assign(n, 0.0);
    sublatticeOfVariable_.assign(n, -1);
    constituentOfVariable_.assign(n, -1);
    for (size_t s = 0; s < phase_->m_Constituents.size(); ++s) {
        for (size_t i = 0; i < phase_->m_Constituents[s].size(); ++i) {
            const int pos = phase_->m_VarPos[s][i];
            if (pos < 0 || pos >= n_) continue;  // SetupVariables not run for this constituent
            const int c = phase_->m_Constituents[s][i];
            const size_t p = static_cast<size_t>(pos);
            sitesPerVariable_[p] = phase_->m_SiteRatios[s];
            sublatticeOfVariable_[p] = static_cast<int>(s);
            constituentOfVariable_[p] = c;
            // vacancies carry 0 atoms in their record, molecules their count
            if (gibbs_ != nullptr && c >= 0 && c < gibbs_->GetElementCount())
                atomsPerVariable_[p] = gibbs_->m_ElementArray.ElementAt(c).m_dAtoms;
        }
    }
    lnY_.assign(n, 0.0);
    dTC_.assign(n + 1, 0.0);
    dBeta_.assign(n + 1, 0.0);
    dg_.assign(n + 1, 0.0);
    dLn_.assign(n + 1, 0.0);

    // A partitioned phase takes the magnetic model of its disordered part when
    // it has none of its own.
    CVxPhase* magnetic = phase_;
    PhasePartition partition;
    if (part == Part::Whole && findPartition(db, phaseIndex, partition, partitionWhy_)) {
        partitioned_ = std::make_unique<PartitionedPhase>(db, partition, kSiteFractionFloor);
        if (!partitioned_->ok()) {
            partitionWhy_ = partitioned_->why();
            partitioned_.reset();
        } else {
            magneticScale_ = partition.scale;
            if (!(phase_->m_dMagneticP > 0.0)) magnetic = db.phases[static_cast<size_t>(partition.disordered)].phase.get();
        }
    }
    // A factor of 0 selects the magnetic model with Curie and Neel
    // temperatures, which PropertyTerms evaluates.
    if (magnetic->m_dMagneticP > 0.0 && magnetic->m_dAFMFactor != 0.0) {
        magneticModel_ = true;
        magnetic_.Initialize(magnetic->m_dMagneticP, magnetic);
        // Initialize picks the factor from the phase name; the database's
        // TYPE_DEFINITION is the authority.
        afm_ = magnetic->m_dAFMFactor;
        magnetic_.m_dAFMFactor = afm_;
    }

    // The parameters evaluate() sums, and which of them need their own derivatives.
    functionCount_ = list_->m_FktArray.m_nSize;
    reciprocal_.assign(static_cast<size_t>(functionCount_), 0);
    for (int i = 0; i < functionCount_; ++i) {
        TThermFkt* f = list_->m_FktArray.m_pData[i];
        const TThermFktData& d = *f->m_pFktData;
        if (d.m_bDoSet && !partitioned_) continue;
        const int type = d.m_nFktType;
        if (type != kTypeGibbs && !(magneticModel_ && (type == kTypeCurie || type == kTypeMoment))) continue;
        modelParameters_.push_back(f);
        reciprocal_[static_cast<size_t>(i)] = IsWeightedReciprocal(d) ? 1 : 0;
    }
    terms_ = std::make_unique<PropertyTerms>(*phase_, db.dataMgr, *list_, n_);
    if (phase_->m_nModelType == IonicLiquidPhase::kModelType && gibbs_ != nullptr)
        ionic_ = std::make_unique<IonicLiquidPhase>(*phase_, *gibbs_, *list_, n_);
    for (int i = 0; i < functionCount_; ++i)
        if (terms_->reads(list_->m_FktArray.m_pData[i])) modelParameters_.push_back(list_->m_FktArray.m_pData[i]);
    freeSymbols_ = db.freeSymbolsUsedBy(phaseIndex);
    const size_t symbols = static_cast<size_t>(db.symbols().m_FktArray.m_nSize);
    symbolSeen_.assign(symbols, 0);
    symbolStack_.reserve(symbols);
}

PhaseEvaluator::~PhaseEvaluator() = default;

bool PhaseEvaluator::evaluable() const
{
    if (phase_ == nullptr || phase_->m_bEvaluable == 0 || !partitionWhy_.empty() ||
        (ionic_ && !ionic_->problem().empty()))
        return false;
    for (int s : freeSymbols_)
        if (db_.expressions.isUnsetFree(s)) {
            freeWhy_ = db_.expressions.refusal(s, db_.dataMgr);
            return false;
        }
    return true;
}

const std::string& PhaseEvaluator::why() const
{
    if (phase_ != nullptr && phase_->m_bEvaluable == 0) return phase_->m_NotEvaluableWhy;
    if (ionic_ && !ionic_->problem().empty()) return ionic_->problem();
    if (!partitionWhy_.empty()) return partitionWhy_;
    if (!evaluable() && !freeWhy_.empty()) return freeWhy_;
    return why_.empty() ? rangeWhy_ : why_;
}

int PhaseEvaluator::variableCount() const { return n_; }

int PhaseEvaluator::variableSublattice(int i) const
{
    return i >= 0 && i < n_ ? sublatticeOfVariable_[static_cast<size_t>(i)] : -1;
}

const char* PhaseEvaluator::variableName(int i) const
{
    if (i < 0 || i >= n_ || gibbs_ == nullptr) return "";
    const int c = constituentOfVariable_[static_cast<size_t>(i)];
    return c >= 0 && c < gibbs_->GetElementCount() ? gibbs_->GetElementName(c) : "";
}

int PhaseEvaluator::findVariable(int sublattice, const std::string& name) const
{
    if (phase_ == nullptr || gibbs_ == nullptr) return -1;
    const int c = gibbs_->GetElementIndex(name.c_str());
    return c < 0 ? -1 : phase_->GetVarPos(sublattice, c);
}

void PhaseEvaluator::setTemperature(double T, double P)
{
    T_ = T;
    P_ = P;
    if (phase_ == nullptr) return;
    // symbols (pieces with the on-demand variant, expression trees, free symbols)
    db_.temperatureStep(T, P);
    list_->CalcPTValues(T, P, 2);
    temperatureSet_ = true;
    why_.clear();
    checkTemperatureRanges();
}

void PhaseEvaluator::checkTemperatureRanges()
{
    rangeWhy_.clear();
    TThermFktMgr& symbols = db_.symbols();
    const int nSymbols = symbols.m_FktArray.m_nSize;
    symbolSeen_.assign(static_cast<size_t>(nSymbols), 0);
    symbolStack_.clear();
    // the references the value of piece reads, as the kernel's piece evaluation reads them
    auto push = [&](int s) {
        if (s < 0 || s >= nSymbols || symbolSeen_[static_cast<size_t>(s)]) return;
        symbolSeen_[static_cast<size_t>(s)] = 1;
        symbolStack_.push_back(s);
    };
    auto follow = [&](const TThermTPolynom* piece) {
        if (piece == nullptr) return;
        forEachPieceReference(*piece, push);
    };
    char head[64];
    std::snprintf(head, sizeof head, "T = %g K is outside the temperature ranges of ", T_);
    for (TThermFkt* f : modelParameters_) {
        if (f->m_pFktData->m_bDisabled) continue;
        if (OutsideItsRanges(*f)) {
            myCString name;
            f->WriteOutFunktion(name, 1);
            rangeWhy_ = std::string(head) + "parameter " + name.c_str() + " (" + RangesText(*f) + ")";
            return;
        }
        follow(f->m_pActPoly);
        while (!symbolStack_.empty()) {
            const int s = symbolStack_.back();
            symbolStack_.pop_back();
            TThermFkt* g = symbols.m_FktArray.m_pData[s];
            if (g->m_pFktData->m_bDisabled) continue;
            // a tree with a domain error at T, or a name without a value
            if (db_.expressions.hasRefusal(s)) {
                rangeWhy_ = db_.expressions.refusal(s, db_.dataMgr);
                return;
            }
            if (const SymbolExpressions::TreeSymbol* tree = db_.expressions.treeAt(s))
                for (const ExpressionTree::Node& node : tree->tree.nodes())
                    if (node.op == ExpressionTree::Op::Symbol) push(node.symbol);
            if (OutsideItsRanges(*g)) {
                const myCStringArray& names = db_.dataMgr.m_SymbolNames1;
                std::string name = s < names.m_nSize ? names.m_pData[s].c_str() : "";
                if (name.empty()) name = "number " + std::to_string(s);
                rangeWhy_ = std::string(head) + "function " + name + " (" + RangesText(*g) + ")";
                return;
            }
            follow(g->m_pActPoly);
        }
    }
}

double PhaseEvaluator::sumParameters(bool doSet, int order, double& TC, double& beta)
{
    const int tp = phase_->m_nTPos;
    double G = 0.0;
    const int nFkt = list_->m_FktArray.m_nSize;
    for (int i = 0; i < nFkt; ++i) {
        TThermFkt* f = list_->m_FktArray.m_pData[i];
        const TThermFktData* d = f->m_pFktData;
        if ((d->m_bDoSet != 0) != doSet) continue;
        const int type = d->m_nFktType;
        double* sum;
        myCArray<double, double>* grad;
        CVxMatrix* hess;
        CVxMatrix* hessGT = nullptr;
        if (type == kTypeGibbs) {
            sum = &G;
            grad = doSet ? &phase_->m_do_GradG : &phase_->m_GradG;
            hess = doSet ? &phase_->m_do_HessG : &phase_->m_HessG;
            hessGT = doSet ? &phase_->m_do_HessGT : &phase_->m_HessGT;
        } else if (magneticModel_ && type == kTypeCurie) {
            sum = &TC;
            grad = doSet ? &phase_->m_do_GradTC : &phase_->m_GradTC;
            hess = doSet ? &phase_->m_do_HessTC : &phase_->m_HessTC;
        } else if (magneticModel_ && type == kTypeMoment) {
            sum = &beta;
            grad = doSet ? &phase_->m_do_GradBMAGN : &phase_->m_GradBMAGN;
            hess = doSet ? &phase_->m_do_HessBMAGN : &phase_->m_HessBMAGN;
        } else {
            continue;
        }
        if (reciprocal_[static_cast<size_t>(i)]) {
            // value and derivatives are ours; the function shows the value it contributes
            const bool active = !d->m_bDisabled && f->m_pPhase != nullptr;
            f->m_dAktVal_F =
                active ? AddReciprocalTerm(*f, doSet ? f->m_pDoY : f->m_pY, order, tp, *grad, *hess, hessGT) : 0.0;
        } else {
            f->Calc(order, 1.0);
        }
        *sum += f->m_dAktVal_F;
    }
    return G;
}

bool PhaseEvaluator::evaluate(const double* y, int order, PhaseProperties& out)
{
    if (!evaluable()) return false;  // why() gives the phase's reason
    EvaluationCall call;
    call.order = order;
    call.y = y;
    call.variableCount = n_;
    call.temperatureSet = temperatureSet_;
    call.variablesChanged = phase_->m_nVarCount != n_ || phase_->m_Y.m_nSize < n_;
    call.parametersChanged = list_->m_FktArray.m_nSize != functionCount_;
    if (const char* refusal = evaluationRefusal(call)) {
        why_ = refusal;
        return false;
    }
    why_.clear();
    if (!rangeWhy_.empty()) return false;  // why() gives it
    if (ionic_) return evaluateIonicLiquid(y, order, out);

    const int n = n_;
    const int dim = n + 1;  // variables, then T
    const int tp = phase_->m_nTPos;
    const double T = T_;
    const double R = kGasConstant;
    const double Rm = R * magneticScale_;  // the magnetic term, per formula unit of the phase

    // Parameter terms: the raised fractions (see the header).
    double* Y = phase_->m_Y.m_pData;
    for (int v = 0; v < n; ++v) {
        const double yv = y[v];
        const double yf = yv < kSiteFractionFloor ? kSiteFractionFloor : yv;
        Y[v] = yf;
        lnY_[static_cast<size_t>(v)] = std::log(yf);
    }
    double Gpar = 0.0, TC = 0.0, beta = 0.0;
    auto sumSet = [&](bool doSet, double& tc, double& b) { return sumParameters(doSet, order, tc, b); };
    if (partitioned_) {
        Gpar = partitioned_->sum(order, magneticModel_, sumSet, TC, beta);
    } else {
        phase_->ZeroResults();
        Gpar = sumSet(false, TC, beta);
    }

    // Ideal mixing with the exact fractions, and the atoms per formula unit.
    double sumYLnY = 0.0, atoms = 0.0;
    for (int v = 0; v < n; ++v) {
        const size_t u = static_cast<size_t>(v);
        const double yv = y[v];
        if (yv > 0.0) sumYLnY += sitesPerVariable_[u] * yv * std::log(yv);
        atoms += sitesPerVariable_[u] * yv * atomsPerVariable_[u];
    }
    const double Gideal = R * T * sumYLnY;

    // Magnetic term G_mag = R*T*ln(beta'+1)*g(T/TC').  g depends on T and TC'
    // only through tau, so its T derivatives follow from those in TC'
    // (T*g_T + TC'*g_TC' = 0, and that relation differentiated in T).
    double Gmag = 0.0;
    double lnB = 0.0, lnB1 = 0.0, lnB2 = 0.0;           // ln(beta'+1) and its beta' derivatives
    double g = 0.0, gC = 0.0, gCC = 0.0, gTC = 0.0, gT = 0.0, gTT = 0.0;
    double kC = 1.0, kB = 1.0;                           // dTC'/dTC, dbeta'/dbeta
    if (magneticModel_) {
        if (TC < 0.0) kC = 1.0 / afm_;
        if (beta < 0.0) kB = 1.0 / afm_;
        const double TCp = TC < 0.0 ? TC / afm_ : TC;
        const double betaP = beta < 0.0 ? beta / afm_ : beta;
        lnB = std::log(betaP + 1.0);
        lnB1 = 1.0 / (betaP + 1.0);
        lnB2 = -lnB1 * lnB1;
        // Without a Curie temperature there is no magnetic ordering: g and its
        // derivatives are 0 (the function itself would give 0/0 there).
        if (TCp != 0.0) {
            magnetic_.m_dT = T;
            magnetic_.Calc(TC, order);  // applies the same factor to a negative TC
            g = magnetic_.m_dG;
            if (order >= 1) {
                gC = magnetic_.m_dGdTC;
                gT = -(TCp / T) * gC;
            }
            if (order >= 2) {
                gCC = magnetic_.m_dGdTC2;
                gTC = magnetic_.m_dGdTdTC;
                gTT = -(gT + TCp * gTC) / T;
            }
        }
        Gmag = Rm * T * lnB * g;
    }

    // Einstein, two-state and Curie-Neel magnetic terms, over (y..., T)
    const bool terms = !terms_->empty();
    if (terms) terms_->evaluate(T, R, order);
    const double* termGrad = terms_->gradient();

    const double G = Gpar + Gideal + Gmag + (terms ? terms_->value() : 0.0);
    SetValueAndSizes(out, T, P_, G, atoms, n);

    if (order < 1) {
        out.dG_dT = out.SM = out.HM = out.d2G_dT2 = out.CPM = kNaN;
        for (double& x : out.dG_dy) x = kNaN;
        for (double& x : out.hessian) x = kNaN;
        return true;
    }

    // Phase index of output index r (the temperature moves from m_nTPos to n).
    auto ph = [n, tp](int r) { return r < n ? r : tp; };

    // First derivatives of the magnetic term over (y..., T).
    if (magneticModel_) {
        const double* gradTC = phase_->m_GradTC.m_pData;
        const double* gradB = phase_->m_GradBMAGN.m_pData;
        for (int r = 0; r < dim; ++r) {
            const size_t u = static_cast<size_t>(r);
            dTC_[u] = kC * gradTC[ph(r)];
            dBeta_[u] = kB * gradB[ph(r)];
            dg_[u] = gC * dTC_[u] + (r == n ? gT : 0.0);
            dLn_[u] = lnB1 * dBeta_[u];
        }
    }
    auto magGrad = [&](int r) {
        if (!magneticModel_) return 0.0;
        const size_t u = static_cast<size_t>(r);
        return Rm * ((r == n ? lnB * g : 0.0) + T * (dLn_[u] * g + lnB * dg_[u]));
    };

    const double* gradG = phase_->m_GradG.m_pData;
    for (int v = 0; v < n; ++v) {
        const size_t u = static_cast<size_t>(v);
        out.dG_dy[u] = gradG[v] + R * T * sitesPerVariable_[u] * (lnY_[u] + 1.0) + magGrad(v);
    }
    out.dG_dT = gradG[tp] + R * sumYLnY + magGrad(n);
    if (terms) {
        for (int v = 0; v < n; ++v) out.dG_dy[static_cast<size_t>(v)] += termGrad[v];
        out.dG_dT += termGrad[n];
    }
    out.SM = -out.dG_dT / atoms;
    out.HM = out.GM + T * out.SM;

    if (order < 2) {
        out.d2G_dT2 = out.CPM = kNaN;
        for (double& x : out.hessian) x = kNaN;
        return true;
    }

    const CVxMatrix& HG = phase_->m_HessG;
    const CVxMatrix& HTC = phase_->m_HessTC;
    const CVxMatrix& HB = phase_->m_HessBMAGN;
    for (int r = 0; r < dim; ++r) {
        for (int c = r; c < dim; ++c) {
            double h = HG(ph(r), ph(c));
            // ideal mixing: diagonal in y, y-T cross terms, nothing in T-T
            if (r == c && r < n) {
                const size_t u = static_cast<size_t>(r);
                h += R * T * sitesPerVariable_[u] / Y[r];
            } else if (c == n && r < n) {
                const size_t u = static_cast<size_t>(r);
                h += R * sitesPerVariable_[u] * (lnY_[u] + 1.0);
            }
            if (magneticModel_) {
                const size_t ur = static_cast<size_t>(r), uc = static_cast<size_t>(c);
                const double Cr = dTC_[ur], Cc = dTC_[uc];
                const double dr = r == n ? 1.0 : 0.0, dc = c == n ? 1.0 : 0.0;
                const double d2g = gCC * Cr * Cc + gC * kC * HTC(ph(r), ph(c)) + gTC * (Cr * dc + Cc * dr) +
                                   gTT * dr * dc;
                const double d2Ln = lnB2 * dBeta_[ur] * dBeta_[uc] + lnB1 * kB * HB(ph(r), ph(c));
                // second derivatives of R * T * ln(beta'+1) * g, T being variable n
                h += Rm * (dr * (dLn_[uc] * g + lnB * dg_[uc]) + dc * (dLn_[ur] * g + lnB * dg_[ur]) +
                          T * (d2Ln * g + dLn_[ur] * dg_[uc] + dLn_[uc] * dg_[ur] + lnB * d2g));
            }
            out.hessian[static_cast<size_t>(r * dim + c)] = h;
            out.hessian[static_cast<size_t>(c * dim + r)] = h;
        }
    }
    if (terms)
        for (size_t i = 0; i < out.hessian.size(); ++i) out.hessian[i] += terms_->hessian()[i];
    out.d2G_dT2 = out.hessian[static_cast<size_t>(n * dim + n)];
    out.CPM = -T * out.d2G_dT2 / atoms;
    return true;
}

bool PhaseEvaluator::evaluateIonicLiquid(const double* y, int order, PhaseProperties& out)
{
    const int n = n_, dim = n + 1;
    double G = 0.0, atoms = 0.0;
    ionic_->evaluate(y, order, T_, kGasConstant, G, atoms);
    SetValueAndSizes(out, T_, P_, G, atoms, n);
    const double* grad = ionic_->gradient();
    for (int v = 0; v < n; ++v) out.dG_dy[static_cast<size_t>(v)] = order >= 1 ? grad[v] : kNaN;
    out.dG_dT = order >= 1 ? grad[n] : kNaN;
    out.SM = -out.dG_dT / atoms;
    out.HM = out.GM + T_ * out.SM;
    for (size_t i = 0; i < out.hessian.size(); ++i) out.hessian[i] = order >= 2 ? ionic_->hessian()[i] : kNaN;
    out.d2G_dT2 = out.hessian[static_cast<size_t>(n * dim + n)];
    out.CPM = -T_ * out.d2G_dT2 / atoms;
    return true;
}
