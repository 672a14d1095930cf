#include "TemperatureStep.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "database/SymbolExpressions.h"
#include "host/CVxDataMgr.h"
#include "database/PieceReferences.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermFktMgr.h"
#include "thermfunctions/TThermTPolynom.h"

namespace {


TThermTPolynom* PieceOf(TThermFkt& f, int i, CVxDataMgr& dm)
{
    const int index = f.m_PolyIndex.m_pData[i];
    if (index < 0 || index >= dm.m_PolynomArray.m_nSize) return nullptr;
    return dm.m_PolynomArray.m_pData[index];
}

}  // namespace

std::string TemperatureStep::build(const std::vector<TThermFkt*>& roots, TThermFktMgr& symbols, CVxDataMgr& dataMgr,
                                   const SymbolExpressions* expressions)
{
    *this = TemperatureStep();
    symbols_ = &symbols;
    dataMgr_ = &dataMgr;
    const int nSymbols = symbols.m_FktArray.m_nSize;
    symbolSlot_.assign(static_cast<size_t>(nSymbols), -1);

    expressions_ = expressions;
    auto treeOf = [&](int s) { return expressions != nullptr ? expressions->treeOf(s) : nullptr; };

    // Dependency order by depth-first search: a symbol is listed after every
    // symbol its pieces (or its tree) read.  -2 marks one on the current path (a cycle).
    std::vector<int> order;
    std::function<bool(TThermFkt&, int)> visit;
    auto visitSymbol = [&](int s) -> bool {
        if (s < 0 || s >= nSymbols || symbols.m_FktArray.m_pData[s] == nullptr) {
            buildError_ = "a reference to symbol number " + std::to_string(s) + " outside the symbol list";
            return false;
        }
        int& slot = symbolSlot_[static_cast<size_t>(s)];
        if (slot == -2) {
            buildError_ = "a cycle of symbol references through symbol number " + std::to_string(s);
            return false;
        }
        if (slot >= 0) return true;
        slot = -2;
        if (!visit(*symbols.m_FktArray.m_pData[s], s)) return false;
        symbolSlot_[static_cast<size_t>(s)] = static_cast<int>(order.size());
        order.push_back(s);
        return true;
    };
    visit = [&](TThermFkt& f, int self) -> bool {
        if (const SymbolExpressions::TreeSymbol* t = self >= 0 ? treeOf(self) : nullptr) {
            for (const ExpressionTree::Node& node : t->tree.nodes())
                if (node.op == ExpressionTree::Op::Symbol && !visitSymbol(node.symbol)) return false;
            return true;
        }
        for (int i = 0; i < f.m_PolyIndex.m_nSize; ++i) {
            TThermTPolynom* p = PieceOf(f, i, dataMgr);
            if (p == nullptr) {
                buildError_ = "a piece index outside the polynomial list";
                return false;
            }
            bool ok = true;
            forEachPieceReference(*p, [&](int s) { ok = ok && visitSymbol(s); });
            if (!ok) return false;
        }
        return true;
    };
    for (TThermFkt* f : roots)
        if (!visit(*f, -1)) return buildError_;
    symbolCount_ = static_cast<int>(order.size());

    size_t largestTree = 0;
    auto addFunction = [&](TThermFkt& f, int self) {
        Function fn;
        fn.disabled = f.m_pFktData != nullptr && f.m_pFktData->m_bDisabled != 0;
        fn.pieceBegin = static_cast<int>(pieces_.size());
        if (const SymbolExpressions::TreeSymbol* t = self >= 0 ? treeOf(self) : nullptr) {
            fn.tree = static_cast<int>(trees_.size());
            TreeFunction tf{&t->tree, t->tLow, t->tHigh, static_cast<int>(treeReads_.size()), 0};
            for (int r : t->tree.references()) treeReads_.push_back(symbolSlot_[static_cast<size_t>(r)]);
            tf.readCount = static_cast<int>(treeReads_.size()) - tf.readBegin;
            trees_.push_back(tf);
            largestTree = std::max(largestTree, t->tree.nodes().size());
            functions_.push_back(fn);
            return;
        }
        if (self >= 0 && expressions != nullptr)
            for (size_t k = 0; k < expressions->freeSymbols().size(); ++k)
                if (expressions->freeSymbols()[k].symbol == self) fn.freeSymbol = static_cast<int>(k);
        double searched = -std::numeric_limits<double>::infinity();
        for (int i = 0; i < f.m_PolyIndex.m_nSize; ++i) {
            const TThermTPolynom& p = *PieceOf(f, i, dataMgr);
            Piece q{};
            q.lowerExclusive = searched;
            q.tLow = p.m_dTLow;
            q.tHigh = p.m_dTHigh;
            // the kernel's search passes a piece when T > its upper limit
            searched = std::max(searched, p.m_dTHigh);
            q.A = p.m_dA;
            q.B = p.m_dB;
            q.C = p.m_dC;
            q.powerBegin = static_cast<int>(powers_.size());
            q.powerCount = p.m_nPowerTerms;
            for (int k = 0; k < p.m_nPowerTerms; ++k) {
                const int e = p.m_anPowerExp[k];
                powers_.push_back({p.m_adPowerCoef[k], e});
                lowExponent_ = std::min(lowExponent_, e - 3);
                highExponent_ = std::max(highExponent_, e);
            }
            q.refBegin = static_cast<int>(refs_.size());
            q.refCount = p.m_nSymbolTerms;
            for (int j = 0; j < p.m_nSymbolTerms; ++j)
                refs_.push_back({p.m_adSymbolFactor[j], symbolSlot_[static_cast<size_t>(p.m_anSymbolIndex[j])]});
            q.special = -1;
            const bool pressure = p.m_bPressureTerms && (p.m_bPTerm || p.m_bTPTerm || p.m_bT2PTerm);
            if (p.m_bRTLnTerm || p.m_bLnTerm || p.m_bExpTerm || pressure) {
                Special s;
                auto slot = [&](int sym) { return sym >= 0 ? symbolSlot_[static_cast<size_t>(sym)] : -1; };
                s.rtln = p.m_bRTLnTerm != 0;
                s.rtlnFactor = p.m_dRTLnFactor;
                s.rtlnSlot = slot(p.m_nRTLnSymbol);
                s.ln = p.m_bLnTerm != 0;
                s.lnFactor = p.m_dLnFactor;
                s.lnFactorSlot = slot(p.m_nLnFactorSymbol);
                s.lnArg = p.m_dLnArg;
                s.lnArgSlot = slot(p.m_nLnArgSymbol);
                s.exp = p.m_bExpTerm != 0;
                s.expFactor = p.m_dExpFactor;
                s.expFactorSlot = slot(p.m_nExpFactorSymbol);
                s.expArg = p.m_dExpArg;
                s.expArgSlot = slot(p.m_nExpArgSymbol);
                s.p = p.m_bPressureTerms && p.m_bPTerm;
                s.pCoef = p.m_dPCoef;
                s.pSlot = slot(p.m_nPSymbol);
                s.tp = p.m_bPressureTerms && p.m_bTPTerm;
                s.tpCoef = p.m_dTPCoef;
                s.tpSlot = slot(p.m_nTPSymbol);
                s.t2p = p.m_bPressureTerms && p.m_bT2PTerm;
                s.t2pCoef = p.m_dT2PCoef;
                s.t2pSlot = slot(p.m_nT2PSymbol);
                q.special = static_cast<int>(specials_.size());
                specials_.push_back(s);
            }
            pieces_.push_back(q);
        }
        fn.pieceCount = static_cast<int>(pieces_.size()) - fn.pieceBegin;
        fn.pieces = !fn.disabled && fn.freeSymbol < 0 && fn.pieceCount > 0;
        functions_.push_back(fn);
    };
    for (int s : order) addFunction(*symbols.m_FktArray.m_pData[s], s);
    for (TThermFkt* f : roots) {
        rootSlot_.push_back(static_cast<int>(functions_.size()));
        addFunction(*f, -1);
    }
    treeScratch_.assign(largestTree, Jet{});
    values_.assign(4 * functions_.size(), 0.0);
    powerTable_.assign(static_cast<size_t>(highExponent_ - lowExponent_ + 1), 0.0);
    seen_.assign(functions_.size(), 0);
    stack_.reserve(functions_.size());
    if (!trees_.empty()) symbolSlots_ = symbolSlot_;  // a tree's symbol nodes name list positions
    symbolSlot_.clear();
    symbolSlot_.shrink_to_fit();
    return std::string();
}

size_t TemperatureStep::bytes() const
{
    return functions_.capacity() * sizeof(Function) + rootSlot_.capacity() * sizeof(int) +
           pieces_.capacity() * sizeof(Piece) + specials_.capacity() * sizeof(Special) +
           powers_.capacity() * sizeof(Power) + refs_.capacity() * sizeof(Ref) +
           values_.capacity() * sizeof(double) + powerTable_.capacity() * sizeof(double) + seen_.capacity() +
           stack_.capacity() * sizeof(int) + trees_.capacity() * sizeof(TreeFunction) +
           (treeReads_.capacity() + symbolSlots_.capacity()) * sizeof(int) + treeScratch_.capacity() * sizeof(Jet);
}

// The value and derivatives of one piece at T: the common work of a step.
inline __attribute__((always_inline)) void TemperatureStep::evaluatePiece(const Piece& q, double* out, double T, double P,
                                                                          int derivatives) const
{
    const double* tp = powerTable_.data() - lowExponent_;  // tp[e] = T^e
    const double lnT = lnT_;
    double v = (T * q.B + q.A) + q.C * (lnT * T);
    double d1 = q.B + q.C * (lnT + 1.0);
    double d2 = q.C / T;
    double d3 = derivatives > 2 ? -q.C / (T * T) : 0.0;  // a division saved at every ordinary step
    for (int k = 0; k < q.powerCount; ++k) {
        const Power& pw = powers_[static_cast<size_t>(q.powerBegin + k)];
        const int e = pw.exponent;
        v += pw.coef * tp[e];
        d1 += (static_cast<double>(e) * pw.coef) * tp[e - 1];
        d2 += (static_cast<double>(e * (e - 1)) * pw.coef) * tp[e - 2];
        if (derivatives > 2) d3 += (static_cast<double>(e * (e - 1) * (e - 2)) * pw.coef) * tp[e - 3];
    }
    for (int j = 0; j < q.refCount; ++j) {
        const Ref& r = refs_[static_cast<size_t>(q.refBegin + j)];
        const double* F = &values_[4 * static_cast<size_t>(r.slot)];
        v += F[0] * r.factor;
        d1 += F[1] * r.factor;
        d2 += F[2] * r.factor;
        d3 += F[3] * r.factor;
    }
    if (q.special >= 0) {
        const Special& s = specials_[static_cast<size_t>(q.special)];
        auto val = [this](int slot) { return values_[4 * static_cast<size_t>(slot)]; };
        if (s.rtln) {
            double x = s.rtlnFactor;
            if (s.rtlnSlot >= 0) x *= val(s.rtlnSlot);
            v += (T * VX_POLY_GAS_CONSTANT) * std::log(x);
        }
        if (s.ln) {
            double g = s.lnArg;
            if (s.lnArgSlot >= 0) g *= val(s.lnArgSlot);
            double f = s.lnFactor * std::log(g);
            if (s.lnFactorSlot >= 0) f *= val(s.lnFactorSlot);
            v += f;
        }
        if (s.exp) {
            double g = s.expArg;
            if (s.expArgSlot >= 0) g *= val(s.expArgSlot);
            double f = s.expFactor * std::exp(g);
            if (s.expFactorSlot >= 0) f *= val(s.expFactorSlot);
            v += f;
        }
        if (s.p) {
            double t = P * s.pCoef;
            if (s.pSlot >= 0) t *= val(s.pSlot);
            v += t;
        }
        if (s.tp) {
            double t = (P * s.tpCoef) * T;
            if (s.tpSlot >= 0) t *= val(s.tpSlot);
            v += t;
        }
        if (s.t2p) {
            double t = ((P * s.t2pCoef) * T) * T;
            if (s.t2pSlot >= 0) t *= val(s.t2pSlot);
            v += t;
        }
    }
    out[0] = v;
    out[1] = d1;
    out[2] = d2;
    out[3] = derivatives > 2 ? d3 : 0.0;
}

void TemperatureStep::evaluate(size_t slot, double T, double P, int derivatives)
{
    Function& fn = functions_[slot];
    double* out = &values_[4 * slot];
    fn.outside = false;
    if (!fn.pieces) {
        out[0] = out[1] = out[2] = out[3] = 0.0;
        if (fn.disabled) return;
        if (fn.tree >= 0) {
            evaluateTree(fn, out, T, P, derivatives);
            return;
        }
        if (fn.freeSymbol >= 0) {
            const SymbolExpressions::FreeSymbol& f = expressions_->freeSymbols()[static_cast<size_t>(fn.freeSymbol)];
            out[0] = f.value;
            fn.outside = !f.isSet;
            return;
        }
        fn.current = -1;  // no pieces
        return;
    }
    // The kernel's search takes the first piece whose upper limit is not
    // below T, and refuses it when T is below its lower limit; the interval
    // of the remembered piece is exactly where that search would end on it.
    auto picks = [T](const Piece& q) { return T > q.lowerExclusive && T <= q.tHigh && T >= q.tLow; };
    const Piece* pieces = &pieces_[static_cast<size_t>(fn.pieceBegin)];
    if (fn.current < 0 || !picks(pieces[fn.current])) {
        fn.current = -1;
        for (int i = 0; i < fn.pieceCount; ++i) {
            if (!(T > pieces[i].tHigh)) {
                if (picks(pieces[i])) fn.current = i;
                break;
            }
        }
        if (fn.current < 0) {
            out[0] = out[1] = out[2] = out[3] = 0.0;
            fn.outside = true;
            return;
        }
    }
    evaluatePiece(pieces[fn.current], out, T, P, derivatives);
}

void TemperatureStep::evaluateTree(Function& fn, double* out, double T, double P, int derivatives)
{
    const TreeFunction& t = trees_[static_cast<size_t>(fn.tree)];
    if (!(T >= t.tLow && T <= t.tHigh)) return;  // 0 outside its range, as in the kernel path
    auto symbolJet = [this](int symbol, Jet& j) {
        const double* F = &values_[4 * static_cast<size_t>(symbolSlots_[static_cast<size_t>(symbol)])];
        j.v = F[0];
        j.t = F[1];
        j.tt = F[2];
        j.ttt = F[3];
    };
    Jet result;
    int faultNode = -1;
    if (t.tree->evaluate(T, P, symbolJet, treeScratch_.data(), result, faultNode) != ExpressionTree::Fault::None) {
        fn.outside = true;  // the kernel path words the refusal
        return;
    }
    out[0] = result.v;
    out[1] = result.t;
    out[2] = result.tt;
    out[3] = derivatives > 2 ? result.ttt : 0.0;
}

bool TemperatureStep::run(double T, double P, int derivatives)
{
    // Powers by multiplication from T^0 both ways.
    double* tp = powerTable_.data() - lowExponent_;
    tp[0] = 1.0;
    for (int e = 1; e <= highExponent_; ++e) tp[e] = tp[e - 1] * T;
    const double inv = 1.0 / T;
    for (int e = -1; e >= lowExponent_; --e) tp[e] = tp[e + 1] * inv;
    lnT_ = std::log(T);
    bool anyOutside = false;
    for (size_t s = 0; s < functions_.size(); ++s) {
        // most functions stay on the piece of the last step
        Function& fn = functions_[s];
        if (fn.pieces && fn.current >= 0) {
            const Piece& q = pieces_[static_cast<size_t>(fn.pieceBegin + fn.current)];
            if (T > q.lowerExclusive && T <= q.tHigh && T >= q.tLow) {
                fn.outside = false;
                evaluatePiece(q, &values_[4 * s], T, P, derivatives);
                continue;
            }
        }
        evaluate(s, T, P, derivatives);
        anyOutside |= fn.outside;
    }
    return !anyOutside || !inUseOutside();
}

// Whether a flagged function is read at T: a root itself, or a symbol
// reached from a root through the pieces in use.
bool TemperatureStep::inUseOutside()
{
    std::fill(seen_.begin(), seen_.end(), 0);
    for (int r : rootSlot_) {
        const Function& root = functions_[static_cast<size_t>(r)];
        if (root.disabled) continue;
        stack_.clear();
        stack_.push_back(r);
        seen_[static_cast<size_t>(r)] = 1;
        while (!stack_.empty()) {
            const Function& fn = functions_[static_cast<size_t>(stack_.back())];
            stack_.pop_back();
            if (fn.disabled) continue;
            if (fn.outside) return true;
            auto push = [&](int slot) {
                if (slot < 0 || seen_[static_cast<size_t>(slot)]) return;
                seen_[static_cast<size_t>(slot)] = 1;
                stack_.push_back(slot);
            };
            if (fn.tree >= 0) {
                const TreeFunction& t = trees_[static_cast<size_t>(fn.tree)];
                for (int k = 0; k < t.readCount; ++k) push(treeReads_[static_cast<size_t>(t.readBegin + k)]);
                continue;
            }
            if (fn.current < 0) continue;
            const Piece& q = pieces_[static_cast<size_t>(fn.pieceBegin + fn.current)];
            for (int j = 0; j < q.refCount; ++j) push(refs_[static_cast<size_t>(q.refBegin + j)].slot);
            if (q.special >= 0) {
                const Special& s = specials_[static_cast<size_t>(q.special)];
                if (s.rtln) push(s.rtlnSlot);
                if (s.ln) {
                    push(s.lnArgSlot);
                    push(s.lnFactorSlot);
                }
                if (s.exp) {
                    push(s.expArgSlot);
                    push(s.expFactorSlot);
                }
                if (s.p) push(s.pSlot);
                if (s.tp) push(s.tpSlot);
                if (s.t2p) push(s.t2pSlot);
            }
        }
    }
    return false;
}
