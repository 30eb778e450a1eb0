// The body printer of the wide variants: a packed DAG (ir/pack.h) printed
// as neutral operations of a register type W that the instruction set's
// header spells (src/dft/wide_avx2.h, wide_avx512.h): W::add, W::mul,
// W::unpackLo, W::gather<...> and so on, each acting slot by slot. One
// printer serves every width and both register schemes.
#include <algorithm>
#include <map>
#include <sstream>
#include <stdexcept>

#include "emit/literals.h"
#include "emit/printers.h"
#include "emit/schedule.h"
#include "rules/split32.h"

namespace qrbgen::plans {
namespace {

std::string wv(int id) { return "w" + std::to_string(id); }

class WidePrinter {
public:
    WidePrinter(const KernelDag& k, const WideProgram& w, const std::string& type, int align, int registers, bool chains)
        : k_(k), d_(k.dag), w_(w), type_(type), align_(align), registers_(registers), chains_(chains), P_(w.slots),
          single_(isSingle(k.desc.type)), L_(single_ ? 4 : 2) {}

    BodyInfo print() {
        std::ostringstream body;
        const std::string real = single_ ? "float" : "double";
        std::map<int, std::vector<Output>> stores;
        for (const Output& o : d_.outputs()) {
            if (o.neg) throw std::logic_error("a vector kernel stores a negated output");
            const Place p = w_.place.at(static_cast<std::size_t>(o.id));
            if (p.node < 0) throw std::logic_error("an output without a place in the wide program");
            stores[p.node].push_back(o);
        }
        for (int i : wideOrder(d_, w_, registers_, chains_)) {
            const WideNode& n = w_.nodes[static_cast<std::size_t>(i)];
            body << "    const auto " << wv(i) << " = " << expr(n) << ";\n";
            auto it = stores.find(i);
            if (it != stores.end()) body << storeText(i, it->second);
        }
        std::ostringstream o;
        o << "namespace {\n\nusing " << alias() << " = " << type_ << ";\n\n";
        o << "alignas(" << align_ << ") const " << real << " " << pool() << "[][" << P_ * L_ << "] = {\n";
        for (const auto& row : rows_) {
            o << "    {";
            for (std::size_t l = 0; l < row.size(); ++l) o << (l ? ", " : "") << litIn(row[l], single_);
            o << "},\n";
        }
        if (rows_.empty()) o << "    {" << litIn(0.0, single_) << "},\n";
        o << "};\n\n";
        o << "QRBG_WIDE_INLINE void " << bodyName(k_.desc) << "(const " << real << "* x, " << real << "* y, const "
          << real << "* vs) {\n";
        o << "    const " << real << "* const k = qrbg::wide::opaque(" << pool() << "[0]);\n    (void)k;\n";
        o << body.str() << "}\n\n";
        return {o.str(), P_ * L_};
    }

private:
    std::string pool() const { return "kW_" + baseName(k_.desc); }
    // The register type, by a name of the kernel's own (one source holds
    // several kernels).
    std::string alias() const { return "W_" + baseName(k_.desc); }

    // The offset of a pool row, made once for each distinct row.
    int row(const std::vector<double>& lanes) {
        for (std::size_t i = 0; i < rows_.size(); ++i)
            if (rows_[i] == lanes) return static_cast<int>(i) * P_ * L_;
        rows_.push_back(lanes);
        return static_cast<int>(rows_.size() - 1) * P_ * L_;
    }

    // The lanes of a product's constants, slot by slot (zero in empty slots).
    int constRow(const WideNode& n) {
        std::vector<double> lanes;
        for (int b : n.base) {
            std::vector<double> c(static_cast<std::size_t>(L_), 0.0);
            if (b >= 0) {
                const auto& kl = d_.constants().at(static_cast<std::size_t>(d_.node(d_.node(b).a).imm)).lanes;
                for (int l = 0; l < L_; ++l) c[static_cast<std::size_t>(l)] = kl.size() == 1 ? kl[0] : kl.at(static_cast<std::size_t>(l));
            }
            lanes.insert(lanes.end(), c.begin(), c.end());
        }
        return row(lanes);
    }

    int maskRow() {
        std::vector<double> lanes;
        for (int s = 0; s < P_; ++s) {
            lanes.push_back(-0.0);
            lanes.push_back(0.0);
        }
        return row(lanes);
    }

    int firstBase(const WideNode& n) const {
        for (int b : n.base)
            if (b >= 0) return b;
        throw std::logic_error("an empty wide operation");
    }

    std::string at(const char* p, int element) const { return std::string(p) + " + " + std::to_string(2 * element); }

    const Move& loadMove(int base) const { return k_.layout.loads.at(static_cast<std::size_t>(d_.node(base).imm)); }
    const Move& storeMove(const Output& o) const { return k_.layout.stores.at(static_cast<std::size_t>(o.slot)); }

    // Elements in one slot, and whether a move fills a slot with
    // neighbouring elements from e0 on.
    int perSlot() const { return single_ ? 2 : 1; }
    bool full(const Move& m) const { return single_ ? m.e1 == m.e0 + 1 : true; }

    std::string blockLoad(const Move& m) const {
        if (m.e0 < 0) return single_ ? "qrbg::wide::zero16f()" : "qrbg::wide::zero16d()";  // a zero taken as data
        if (full(m)) return "qrbg::wide::ld16(" + at("x", m.e0) + ")";
        if (m.e1 >= 0) return "qrbg::wide::ldHalves(" + at("x", m.e0) + ", " + at("x", m.e1) + ")";
        return "qrbg::wide::ldHalves(" + at("x", m.e0) + ")";
    }

    std::string loadExpr(const WideNode& n) const {
        bool whole = true;
        const Move* first = nullptr;
        for (int s = 0; s < P_; ++s) {
            const int b = n.base[static_cast<std::size_t>(s)];
            if (b < 0) {
                whole = false;
                continue;
            }
            const Move& m = loadMove(b);
            if (first == nullptr && s == 0) first = &m;
            if (!full(m) || first == nullptr || m.e0 != first->e0 + perSlot() * s) whole = false;
        }
        if (whole) return alias() + "::load(" + at("x", first->e0) + ")";
        if (P_ == 1) return blockLoad(loadMove(n.base[0]));
        std::string e = alias() + "::blocks(";
        for (int s = 0; s < P_; ++s) {
            const int b = n.base[static_cast<std::size_t>(s)];
            e += (s ? ", " : "") + (b < 0 ? std::string(single_ ? "qrbg::wide::zero16f()" : "qrbg::wide::zero16d()")
                                          : blockLoad(loadMove(b)));
        }
        return e + ")";
    }

    std::string storeText(int id, const std::vector<Output>& outs) const {
        const std::string v = wv(id);
        std::ostringstream o;
        // The whole register at once where its slots hold neighbours in order.
        if (static_cast<int>(outs.size()) == P_) {
            bool whole = true;
            int e0 = -1;
            for (const Output& out : outs) {
                const Place p = w_.place[static_cast<std::size_t>(out.id)];
                const Move& m = storeMove(out);
                if (!full(m)) whole = false;
                if (p.slot == 0) e0 = m.e0;
            }
            for (const Output& out : outs) {
                const Place p = w_.place[static_cast<std::size_t>(out.id)];
                if (e0 < 0 || storeMove(out).e0 != e0 + perSlot() * p.slot) whole = false;
            }
            if (whole) {
                o << "    " << alias() << "::store(" << at("y", e0) << ", " << v << ");\n";
                return o.str();
            }
        }
        for (const Output& out : outs) {
            const Place p = w_.place[static_cast<std::size_t>(out.id)];
            const Move& m = storeMove(out);
            const std::string blk = P_ == 1 ? v : alias() + "::block<" + std::to_string(p.slot) + ">(" + v + ")";
            if (full(m)) {
                o << "    qrbg::wide::st16(" << at("y", m.e0) << ", " << blk << ");\n";
            } else {
                o << "    qrbg::wide::stLo(" << at("y", m.e0) << ", " << blk << ");\n";
                if (m.e1 >= 0) o << "    qrbg::wide::stHi(" << at("y", m.e1) << ", " << blk << ");\n";
            }
        }
        return o.str();
    }

    std::string expr(const WideNode& n) {
        if (n.kind == WideNode::Load) return loadExpr(n);
        if (n.kind == WideNode::Gather) {
            std::string e = alias() + "::gather<";
            for (int s = 0; s < P_; ++s) {
                const Pick& pk = n.pick[static_cast<std::size_t>(s)];
                e += (s ? ", " : "") + std::to_string(pk.src < 0 ? -1 : pk.src * P_ + pk.slot);
            }
            return e + ">(" + wv(n.a) + ", " + wv(n.b >= 0 ? n.b : n.a) + ")";
        }
        const Node& b = d_.node(firstBase(n));
        switch (b.op) {
            case Op::Add: return alias() + "::add(" + wv(n.a) + ", " + wv(n.b) + ")";
            case Op::Sub: return alias() + "::sub(" + wv(n.a) + ", " + wv(n.b) + ")";
            case Op::Mul:
                if (d_.node(b.a).op != Op::Const) return alias() + "::mul(" + wv(n.b) + ", vs)";
                return alias() + "::mul(" + wv(n.b) + ", k + " + std::to_string(constRow(n)) + ")";
            case Op::Xchg: return alias() + "::xchg(" + wv(n.a) + ")";
            case Op::Mask: return alias() + "::xorK(" + wv(n.a) + ", k + " + std::to_string(maskRow()) + ")";
            case Op::Shuf: {
                const std::string ab = "(" + wv(n.a) + ", " + wv(n.b) + ")";
                switch (static_cast<ShufKind>(b.imm)) {
                    case ShufEven: return alias() + "::shufEven" + ab;
                    case ShufOdd: return alias() + "::shufOdd" + ab;
                    case UnpackLo: return alias() + "::unpackLo" + ab;
                    case UnpackHi: return alias() + "::unpackHi" + ab;
                    case MoveLH: return alias() + "::moveLH" + ab;
                    case MoveHL: return alias() + "::moveHL" + ab;
                }
                break;
            }
            default: break;
        }
        throw std::logic_error("wide printer: unexpected operation");
    }

    const KernelDag& k_;
    const Dag& d_;
    const WideProgram& w_;
    const std::string type_;
    const int align_, registers_;
    const bool chains_;
    const int P_;
    const bool single_;
    const int L_;  // lanes of one slot
    std::vector<std::vector<double>> rows_;
};

// The wide operations as a list-schedule graph: each pack keyed by the
// earliest DAG node it computes; loads and gathers wait until nothing else
// is ready, so that each sits right before its first use.
ListGraph wideGraph(const Dag& d, const WideProgram& w) {
    const std::size_t n = w.nodes.size();
    ListGraph g;
    g.operands.resize(n);
    g.key.resize(n);
    g.late.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        const WideNode& x = w.nodes[i];
        for (int o : {x.a, x.b})
            if (o >= 0 && (g.operands[i].empty() || g.operands[i][0] != o)) g.operands[i].push_back(o);
        int first = 1 << 30;
        for (int b : x.base)
            if (b >= 0) first = std::min(first, b);
        g.key[i] = first >= d.outputSide() ? first - (1LL << 40) : first;
        g.late[i] = x.kind != WideNode::Apply;
    }
    return g;
}

}  // namespace

// The order of the wide operations: the list schedule of the 16-byte
// kernels for the variant's registers, or the one that starts the longest
// chains first.
std::vector<int> wideOrder(const Dag& d, const WideProgram& w, int registers, bool chains) {
    const ListGraph g = wideGraph(d, w);
    return chains ? listOrderBy(g, SchedulePolicy::Critical) : listOrder(g, {registers});
}

int wideStackTraffic(const Dag& d, const WideProgram& w, int registers, bool chains) {
    return stackTraffic(wideGraph(d, w), wideOrder(d, w, registers, chains), registers);
}

BodyInfo printWide(const KernelDag& k, const WideProgram& w, const std::string& type, int align, int registers,
                   bool chains) {
    return WidePrinter(k, w, type, align, registers, chains).print();
}

}  // namespace qrbgen::plans
