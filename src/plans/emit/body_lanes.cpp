// The body printer of the scalar kernels packed side by side: a packed DAG
// (ir/pack.h) of a real or Hartley kernel, P values of its scalar network
// per register, one per lane. Every lane runs the operation the scalar
// kernel (emit/body_scalar.cpp) runs on its value, in the same precision:
// a 64f kernel in double throughout; a 32f kernel by the precision rule,
// singles in single registers, doubles in double registers, a single
// widened where a double operation takes it, a double rounded to single at
// the root of its expression. The packing keeps values of one precision
// class together (lanePackClasses), so that a register holds one kind.
#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include "emit/literals.h"
#include "emit/precision.h"
#include "emit/printers.h"

namespace qrbgen::plans {
namespace {

class LanePrinter {
public:
    LanePrinter(const KernelDag& k, const WideProgram& w, const std::string& type, int singleLanes, int registers,
                bool chains)
        : k_(k), d_(k.dag), w_(w), type_(type), registers_(registers), chains_(chains), P_(w.slots), LS_(singleLanes),
          single_(isSingle(k.desc.type)),
          p_(single_ ? analysePrecision(d_, singleConstantsOf(k.desc)) : PrecisionPlan{}) {}

    BodyInfo print() {
        rep_.assign(w_.nodes.size(), 'D');
        std::map<int, std::vector<std::size_t>> stores;  // wide node -> outputs
        for (std::size_t i = 0; i < d_.outputs().size(); ++i) {
            const Place pl = w_.place.at(static_cast<std::size_t>(d_.outputs()[i].id));
            if (pl.node < 0) throw std::logic_error("an output without a place in the packed program");
            stores[pl.node].push_back(i);
        }
        int loadsLeft = 0;
        for (const WideNode& n : w_.nodes) loadsLeft += n.kind == WideNode::Load;
        std::vector<int> waiting;  // packs whose stores wait for the last load
        for (int i : wideOrder(d_, w_, registers_, chains_)) {
            const WideNode& n = w_.nodes[static_cast<std::size_t>(i)];
            const std::string e = expr(i, n);
            body_ << "    const auto " << wv(i) << " = " << e << ";\n";
            if (n.kind == WideNode::Load) --loadsLeft;
            if (stores.count(i)) waiting.push_back(i);
            // A store waits until every input has been read (src == dst).
            if (loadsLeft == 0) {
                for (int s : waiting) storeText(s, stores[s]);
                waiting.clear();
            }
        }
        if (!waiting.empty()) throw std::logic_error("packed printer: stores left behind");
        const std::string real = single_ ? "float" : "double";
        for (int z : k_.layout.zeros) body_ << "    qrbg::wide::st1(y + " << z << ", " << (single_ ? "0.0f" : "0.0") << ");\n";

        std::ostringstream o;
        o << "namespace {\n\nusing " << alias() << " = " << type_ << ";\n\n";
        pool(o, "double", "kD_", rowsD_, P_, false);
        if (!rowsS_.empty()) pool(o, "float", "kS_", rowsS_, LS_, true);
        o << "QRBG_WIDE_INLINE void " << bodyName(k_.desc) << "(const " << real << "* x, " << real << "* y, " << real
          << " s) {\n";
        o << "    const double* const kd = qrbg::wide::opaque(kD_" << baseName(k_.desc) << "[0]);\n    (void)kd;\n";
        if (!rowsS_.empty())
            o << "    const float* const ks = qrbg::wide::opaque(kS_" << baseName(k_.desc) << "[0]);\n";
        if (single_) o << "    const auto sS = " << alias() << "::splatS(s);\n";
        if (single_ && usesScaleD_) o << "    const auto sD = " << alias() << "::widen(sS);\n";
        if (!single_) o << "    const auto sD = " << alias() << "::splatD(s);\n";
        o << body_.str() << "}\n\n";
        return {o.str(), 0};
    }

    // Widenings and roundings between single and double registers.
    int conversions() const { return conversions_; }

private:
    static std::string wv(int id) { return "w" + std::to_string(id); }
    std::string alias() const { return "L_" + baseName(k_.desc); }
    std::string L() const { return alias() + "::"; }

    void pool(std::ostringstream& o, const char* real, const char* prefix, const std::vector<std::vector<double>>& rows,
              int width, bool asSingle) const {
        o << "alignas(64) const " << real << " " << prefix << baseName(k_.desc) << "[][" << width << "] = {\n";
        for (const auto& r : rows) {
            o << "    {";
            for (std::size_t l = 0; l < r.size(); ++l) o << (l ? ", " : "") << litIn(r[l], asSingle);
            o << "},\n";
        }
        if (rows.empty()) o << "    {" << litIn(0.0, asSingle) << "},\n";
        o << "};\n\n";
    }

    static int rowOf(std::vector<std::vector<double>>& rows, const std::vector<double>& r) {
        for (std::size_t i = 0; i < rows.size(); ++i)
            if (rows[i] == r) return static_cast<int>(i);
        rows.push_back(r);
        return static_cast<int>(rows.size() - 1);
    }

    int firstBase(const WideNode& n) const {
        for (int b : n.base)
            if (b >= 0) return b;
        throw std::logic_error("an empty packed operation");
    }

    // The lanes of a register of kind r: P doubles, or LS singles of which
    // the lanes past P repeat the first ones.
    int width(char r) const { return r == 'S' ? LS_ : P_; }

    std::string load(const WideNode& n) const {
        const char r = single_ ? 'S' : 'D';
        bool whole = true;
        int e0 = -1;
        std::vector<std::string> el;
        for (int s = 0; s < P_; ++s) {
            const int b = n.base[static_cast<std::size_t>(s)];
            const int e = b < 0 ? -1 : k_.layout.loads.at(static_cast<std::size_t>(d_.node(b).imm)).e0;
            if (s == 0) e0 = e;
            if (e < 0 || e0 < 0 || e != e0 + s) whole = false;
            el.push_back(e < 0 ? (single_ ? "0.0f" : "0.0") : "qrbg::wide::ld1(x + " + std::to_string(e) + ")");
        }
        if (whole) return L() + "load" + r + "(x + " + std::to_string(e0) + ")";
        std::string t = L() + "set" + r + "(";
        for (std::size_t i = 0; i < el.size(); ++i) t += (i ? ", " : "") + el[i];
        return t + ")";
    }

    std::string gather(const WideNode& n, char r) const {
        const int wd = width(r);
        std::vector<int> idx(static_cast<std::size_t>(wd), 0);
        for (int s = 0; s < P_; ++s) {
            const Pick& pk = n.pick[static_cast<std::size_t>(s)];
            idx[static_cast<std::size_t>(s)] = pk.src < 0 ? 0 : pk.src * wd + pk.slot;
        }
        for (int l = P_; l < wd; ++l) idx[static_cast<std::size_t>(l)] = idx[static_cast<std::size_t>(l % P_)];
        std::string t = L() + "g" + r + "<";
        for (int l = 0; l < wd; ++l) t += (l ? ", " : "") + std::to_string(idx[static_cast<std::size_t>(l)]);
        return t + ">(" + wv(n.a) + ", " + wv(n.b >= 0 ? n.b : n.a) + ")";
    }

    // An operand as a double register: widened once where it is a single.
    std::string asDouble(int wide) {
        if (rep_[static_cast<std::size_t>(wide)] == 'D') return wv(wide);
        const std::string name = "d" + std::to_string(wide);
        if (widened_.insert(wide).second) {
            body_ << "    const auto " << name << " = " << L() << "widen(" << wv(wide) << ");\n";
            ++conversions_;
        }
        return name;
    }

    std::string constRow(const WideNode& n, bool asSingle) {
        std::vector<double> lanes(static_cast<std::size_t>(asSingle ? LS_ : P_), 0.0);
        for (int s = 0; s < P_; ++s) {
            const int b = n.base[static_cast<std::size_t>(s)];
            if (b >= 0) lanes[static_cast<std::size_t>(s)] = d_.constValue(d_.node(b).a);
        }
        for (std::size_t l = static_cast<std::size_t>(P_); l < lanes.size(); ++l) lanes[l] = lanes[l % static_cast<std::size_t>(P_)];
        if (asSingle) return L() + "kS(ks + " + std::to_string(rowOf(rowsS_, lanes) * LS_) + ")";
        return L() + "kD(kd + " + std::to_string(rowOf(rowsD_, lanes) * P_) + ")";
    }

    std::string expr(int id, const WideNode& n) {
        char& r = rep_[static_cast<std::size_t>(id)];
        if (n.kind == WideNode::Load) {
            r = single_ ? 'S' : 'D';
            return load(n);
        }
        if (n.kind == WideNode::Gather) {
            r = rep_[static_cast<std::size_t>(n.a)];
            if (n.b >= 0 && rep_[static_cast<std::size_t>(n.b)] != r) throw std::logic_error("a gather across precisions");
            return gather(n, r);
        }
        const int b0 = firstBase(n);
        const Node& b = d_.node(b0);
        const bool scale = b.op == Op::Mul && d_.node(b.a).op != Op::Const;
        if (!single_) {
            r = 'D';
            if (b.op == Op::Mul) return "(" + wv(n.b) + " * " + (scale ? std::string("sD") : constRow(n, false)) + ")";
            if (b.op != Op::Add && b.op != Op::Sub) throw std::logic_error("packed printer: unexpected operation");
            return "(" + wv(n.a) + (b.op == Op::Add ? " + " : " - ") + wv(n.b) + ")";
        }
        const auto i = static_cast<std::size_t>(b0);
        for (int s = 0; s < P_; ++s) {
            const int x = n.base[static_cast<std::size_t>(s)];
            if (x >= 0 && (p_.dbl[static_cast<std::size_t>(x)] != p_.dbl[i] || p_.rounded[static_cast<std::size_t>(x)] != p_.rounded[i]))
                throw std::logic_error("a pack across precisions");
        }
        std::string e;
        if (!p_.dbl[i]) {
            r = 'S';
            if (b.op == Op::Mul) e = "(" + wv(n.b) + " * " + (scale ? std::string("sS") : constRow(n, true)) + ")";
            else e = "(" + wv(n.a) + (b.op == Op::Add ? " + " : " - ") + wv(n.b) + ")";
            return e;
        }
        if (b.op == Op::Mul) {
            if (scale) usesScaleD_ = true;
            e = "(" + asDouble(n.b) + " * " + (scale ? std::string("sD") : constRow(n, false)) + ")";
        } else {
            e = "(" + asDouble(n.a) + (b.op == Op::Add ? " + " : " - ") + asDouble(n.b) + ")";
        }
        if (p_.rounded[i]) {
            r = 'S';
            ++conversions_;
            return L() + "narrow" + e;
        }
        r = 'D';
        return e;
    }

    void storeText(int id, const std::vector<std::size_t>& outs) {
        const char r = rep_[static_cast<std::size_t>(id)];
        // The value as stored, and the same negated: 0 - v in the precision
        // of the value, rounded to single where it is a double.
        std::string plain = wv(id), negated;
        for (std::size_t i : outs) {
            if (single_ && r == 'D' && !d_.outputs()[i].neg) throw std::logic_error("a double stored as it is");
            if (!d_.outputs()[i].neg || !negated.empty()) continue;
            negated = "n" + std::to_string(id);
            if (!single_) body_ << "    const auto " << negated << " = " << alias() << "::D{} - " << plain << ";\n";
            else if (r == 'D' || p_.negDbl.at(i)) {
                body_ << "    const auto " << negated << " = " << L() << "narrow(" << alias() << "::D{} - " << asDouble(id) << ");\n";
                ++conversions_;
            }
            else body_ << "    const auto " << negated << " = " << alias() << "::S{} - " << plain << ";\n";
        }
        const char sr = single_ ? 'S' : 'D';
        for (bool neg : {false, true}) {
            std::vector<int> at(static_cast<std::size_t>(P_), -1);
            int count = 0;
            for (std::size_t i : outs) {
                const Output& o = d_.outputs()[i];
                if (o.neg != neg) continue;
                at[static_cast<std::size_t>(w_.place[static_cast<std::size_t>(o.id)].slot)] =
                    k_.layout.stores.at(static_cast<std::size_t>(o.slot)).e0;
                ++count;
            }
            if (count == 0) continue;
            const std::string v = neg ? negated : plain;
            bool whole = count == P_;
            for (int s = 0; s < P_ && whole; ++s) whole = at[static_cast<std::size_t>(s)] == at[0] + s;
            if (whole) {
                body_ << "    " << L() << "store" << sr << "(y + " << at[0] << ", " << v << ");\n";
                continue;
            }
            for (std::size_t i : outs) {
                const Output& o = d_.outputs()[i];
                if (o.neg != neg) continue;
                body_ << "    " << L() << "st" << sr << "<" << w_.place[static_cast<std::size_t>(o.id)].slot << ">(y + "
                      << k_.layout.stores.at(static_cast<std::size_t>(o.slot)).e0 << ", " << v << ");\n";
            }
        }
    }

    const KernelDag& k_;
    const Dag& d_;
    const WideProgram& w_;
    const std::string type_;
    const int registers_;
    const bool chains_;
    const int P_, LS_;
    const bool single_;
    const PrecisionPlan p_;
    std::vector<char> rep_;  // by wide node: 'S' single register, 'D' double register
    std::set<int> widened_;  // the single registers widened so far
    std::vector<std::vector<double>> rowsD_, rowsS_;
    std::ostringstream body_;
    bool usesScaleD_ = false;
    int conversions_ = 0;
};

}  // namespace

std::vector<int> lanePackClasses(const KernelDag& k) {
    if (!isSingle(k.desc.type)) return {};
    const Dag& d = k.dag;
    const PrecisionPlan p = analysePrecision(d, singleConstantsOf(k.desc));
    const std::vector<double> singles = singleConstantsOf(k.desc);
    auto heldDouble = [&](int id) {
        if (id < 0) return 0;
        const Node& n = d.node(id);
        if (n.op == Op::Const) return std::find(singles.begin(), singles.end(), d.constValue(id)) == singles.end() ? 1 : 0;
        if (n.op == Op::Scale) return 0;
        return p.heldDouble(id) ? 1 : 0;
    };
    std::vector<int> cls(d.nodes().size(), 0);
    for (std::size_t i = 0; i < cls.size(); ++i) {
        const Node& n = d.nodes()[i];
        if (n.op != Op::Add && n.op != Op::Sub && n.op != Op::Mul) continue;
        cls[i] = 1 + p.dbl[i] + 2 * p.rounded[i] + 4 * heldDouble(n.a) + 8 * heldDouble(n.b);
    }
    return cls;
}

int laneSpillBytes(const KernelDag& k, const WideProgram& w, int registers, int registerBytes, bool chains) {
    const Dag& d = k.dag;
    const std::vector<int> order = wideOrder(d, w, registers, chains);
    const std::size_t n = w.nodes.size();
    std::vector<int> pos(n, 0), last(n, -1);
    int lastLoad = 0;
    for (std::size_t t = 0; t < order.size(); ++t) {
        pos[static_cast<std::size_t>(order[t])] = static_cast<int>(t);
        if (w.nodes[static_cast<std::size_t>(order[t])].kind == WideNode::Load) lastLoad = static_cast<int>(t);
    }
    for (std::size_t i = 0; i < n; ++i)
        for (int o : {w.nodes[i].a, w.nodes[i].b})
            if (o >= 0) last[static_cast<std::size_t>(o)] = std::max(last[static_cast<std::size_t>(o)], pos[i]);
    // A stored value waits for the last load (src == dst), then leaves.
    for (const Output& o : d.outputs()) {
        const int p = w.place.at(static_cast<std::size_t>(o.id)).node;
        if (p >= 0) last[static_cast<std::size_t>(p)] = std::max({last[static_cast<std::size_t>(p)], pos[static_cast<std::size_t>(p)], lastLoad});
    }
    // Live ranges [from, to] in the order: the values, and in a 32f kernel
    // the widened copy of a single register, from its first use in double
    // to its last.
    std::vector<std::pair<int, int>> ranges;
    for (std::size_t i = 0; i < n; ++i) {
        if (last[i] < 0) continue;
        if (w.nodes[i].kind != WideNode::Load) ranges.emplace_back(pos[i], last[i]);
        // Until the last load no store has been made, so a loaded value can
        // be read again from src rather than kept: it occupies a register
        // only from then on.
        else if (last[i] > lastLoad) ranges.emplace_back(lastLoad, last[i]);
    }
    if (isSingle(k.desc.type)) {
        const PrecisionPlan p = analysePrecision(d, singleConstantsOf(k.desc));
        std::vector<char> single(n, 1);
        std::vector<int> firstD(n, -1), lastD(n, -1);
        for (int i : order) {
            const WideNode& x = w.nodes[static_cast<std::size_t>(i)];
            if (x.kind == WideNode::Gather) {
                single[static_cast<std::size_t>(i)] = single[static_cast<std::size_t>(x.a)];
                continue;
            }
            if (x.kind != WideNode::Apply) continue;
            int b0 = -1;
            for (int b : x.base)
                if (b >= 0) {
                    b0 = b;
                    break;
                }
            const auto bi = static_cast<std::size_t>(b0);
            single[static_cast<std::size_t>(i)] = !p.dbl[bi] || p.rounded[bi];
            if (!p.dbl[bi]) continue;
            for (int o : {x.a, x.b})
                if (o >= 0 && single[static_cast<std::size_t>(o)]) {
                    const auto oi = static_cast<std::size_t>(o);
                    if (firstD[oi] < 0) firstD[oi] = pos[static_cast<std::size_t>(i)];
                    lastD[oi] = pos[static_cast<std::size_t>(i)];
                }
        }
        for (std::size_t i = 0; i < n; ++i)
            if (firstD[i] >= 0) ranges.emplace_back(firstD[i], lastD[i]);
    }
    std::vector<int> delta(order.size() + 2, 0);
    for (const auto& [from, to] : ranges) {
        ++delta[static_cast<std::size_t>(from)];
        --delta[static_cast<std::size_t>(to) + 1];
    }
    int live = 0, most = 0;
    for (int x : delta) most = std::max(most, live += x);
    return std::max(0, most - registers) * registerBytes;
}

int laneConversions(const KernelDag& k, const WideProgram& packed) {
    if (!isSingle(k.desc.type)) return 0;
    LanePrinter p(k, packed, "T", packed.slots, kRegistersX8664, false);
    p.print();
    return p.conversions();
}

BodyInfo printLanes(const KernelDag& k, const WideProgram& packed, const std::string& type, int singleLanes,
                    int registers, bool chains) {
    return LanePrinter(k, packed, type, singleLanes, registers, chains).print();
}

}  // namespace qrbgen::plans
