#include "ExpressionArchive.h"

#include <QDataStream>

#include <cmath>
#include <vector>

#include "database/ArchiveBytes.h"
#include "database/SymbolExpressions.h"

namespace {

void putText(QDataStream& out, const std::string& s)
{
    out << static_cast<qint32>(s.size());
    out.writeRawData(s.data(), static_cast<int>(s.size()));
}

constexpr size_t kTreeBytes = 4 + 2 * 8 + 4 + 4;  // symbol, range, empty origin, node count
constexpr size_t kNodeBytes = 4 * 4 + 8;
constexpr size_t kFreeBytes = 4 + 4 + 4 + 8 + 4;

// Claims symbol position s for one tree or free symbol; false after fail.
bool claim(ByteReader& in, std::vector<char>& claimed, int s)
{
    if (claimed[static_cast<size_t>(s)]) {
        in.fail("symbol " + std::to_string(s) + " has two expression records");
        return false;
    }
    claimed[static_cast<size_t>(s)] = 1;
    return true;
}

void readNode(ByteReader& in, ExpressionTree::Node& n, int index, int ownSymbol)
{
    const int op = in.bounded(static_cast<int>(ExpressionTree::Op::Constant), static_cast<int>(ExpressionTree::Op::Abs),
                              "expression operation");
    const int32_t left = in.int32(), right = in.int32(), ref = in.int32();
    n.value = in.float64();
    if (!in.ok()) return;
    n.op = static_cast<ExpressionTree::Op>(op);
    auto operand = [&](int32_t k) {
        if (k < 0 || k >= index) in.fail("expression node " + std::to_string(index) + " with an operand that does not precede it");
        return k;
    };
    switch (n.op) {
    case ExpressionTree::Op::Constant:
        if (!std::isfinite(n.value)) in.fail("expression constant that is not a number");
        break;
    case ExpressionTree::Op::T:
    case ExpressionTree::Op::P: break;
    case ExpressionTree::Op::Symbol:
        if (ref < 0 || ref >= ownSymbol) in.fail("expression node refers to a symbol not evaluated before its tree");
        n.symbol = ref;
        break;
    case ExpressionTree::Op::Negate:
    case ExpressionTree::Op::Ln:
    case ExpressionTree::Op::Exp:
    case ExpressionTree::Op::Sqrt:
    case ExpressionTree::Op::Abs: n.left = operand(left); break;
    default:
        n.left = operand(left);
        n.right = operand(right);
        break;
    }
}

}  // namespace

void putSymbolExpressions(QDataStream& out, const SymbolExpressions& expressions)
{
    out << static_cast<qint32>(expressions.trees().size());
    for (const SymbolExpressions::TreeSymbol& t : expressions.trees()) {
        out << static_cast<qint32>(t.symbol) << t.tLow << t.tHigh;
        putText(out, t.origin);
        out << static_cast<qint32>(t.tree.nodes().size());
        for (const ExpressionTree::Node& n : t.tree.nodes())
            out << static_cast<qint32>(n.op) << static_cast<qint32>(n.left) << static_cast<qint32>(n.right)
                << static_cast<qint32>(n.symbol) << n.value;
    }
    out << static_cast<qint32>(expressions.freeSymbols().size());
    for (const SymbolExpressions::FreeSymbol& f : expressions.freeSymbols()) {
        out << static_cast<qint32>(f.symbol);
        putText(out, f.name);
        putText(out, f.usedAt);
        out << f.value << static_cast<qint32>(f.isSet ? 1 : 0);
    }
}

void readSymbolExpressions(ByteReader& in, SymbolExpressions& expressions, int symbolCount)
{
    std::vector<char> claimed(static_cast<size_t>(symbolCount > 0 ? symbolCount : 0), 0);
    const int nTrees = in.count(kTreeBytes, "expression trees");
    for (int k = 0; k < nTrees && in.ok(); ++k) {
        SymbolExpressions::TreeSymbol t;
        t.symbol = in.bounded(0, symbolCount - 1, "symbol of an expression tree");
        t.tLow = in.float64();
        t.tHigh = in.float64();
        t.origin = in.text();
        const int nNodes = in.count(kNodeBytes, "expression nodes");
        if (!in.ok() || !claim(in, claimed, t.symbol)) return;
        if (!(std::isfinite(t.tLow) && std::isfinite(t.tHigh) && t.tLow < t.tHigh)) {
            in.fail("expression tree with a range that is no range");
            return;
        }
        if (nNodes == 0) {
            in.fail("expression tree without nodes");
            return;
        }
        t.tree.nodes().resize(static_cast<size_t>(nNodes));
        for (int i = 0; i < nNodes && in.ok(); ++i) readNode(in, t.tree.nodes()[static_cast<size_t>(i)], i, t.symbol);
        if (!in.ok()) return;
        expressions.addTree(std::move(t));
    }
    const int nFree = in.count(kFreeBytes, "undefined names");
    for (int k = 0; k < nFree && in.ok(); ++k) {
        SymbolExpressions::FreeSymbol f;
        f.symbol = in.bounded(0, symbolCount - 1, "symbol of an undefined name");
        f.name = in.text();
        f.usedAt = in.text();
        f.value = in.float64();
        f.isSet = in.bounded(0, 1, "set flag") != 0;
        if (!in.ok() || !claim(in, claimed, f.symbol)) return;
        if (f.name.empty() || !std::isfinite(f.value)) {
            in.fail("undefined name without a name or with a value that is not a number");
            return;
        }
        expressions.addFree(std::move(f));
    }
}
