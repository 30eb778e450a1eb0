#include "emit/precision.h"

#include <algorithm>
#include <stdexcept>

namespace qrbgen::plans {

PrecisionPlan analysePrecision(const Dag& d, const std::vector<double>& singleConstants) {
    const std::size_t count = d.nodes().size();
    const std::vector<bool> live = d.live();
    const std::vector<int> consumers = d.consumers();
    std::vector<char> storedAsIs(count, 0);
    for (std::size_t i = 0; i < d.outputs().size(); ++i)
        if (!d.outputs()[i].neg) storedAsIs[static_cast<std::size_t>(d.outputs()[i].id)] = 1;

    PrecisionPlan p;
    p.dbl.assign(count, 0);
    p.rounded.assign(count, 0);
    p.widened.assign(count, 0);
    auto singleConstant = [&](int id) {
        const double v = d.constants()[static_cast<std::size_t>(d.node(id).imm)].lanes.at(0);
        return std::find(singleConstants.begin(), singleConstants.end(), v) != singleConstants.end();
    };
    auto held = [&](int id) {
        return d.node(id).op == Op::Const ? !singleConstant(id) : p.heldDouble(id);
    };

    for (std::size_t i = 0; i < count; ++i) {
        if (!live[i]) continue;
        const Node& n = d.nodes()[i];
        switch (n.op) {
            case Op::Input:
            case Op::Const:
            case Op::Scale:
            case Op::Splat: continue;
            case Op::Add:
            case Op::Sub:
            case Op::Mul: p.dbl[i] = held(n.a) || held(n.b); break;
            default: throw std::logic_error("precision rule: a scalar network has no lane operations");
        }
        if (p.dbl[i])
            for (int o : {n.a, n.b})
                if (!held(o) && d.node(o).op != Op::Const) p.widened[static_cast<std::size_t>(o)] = 1;
        // A variable or a stored value is a single: a double is rounded here.
        const bool variable = consumers[i] > 1 || storedAsIs[i];
        p.rounded[i] = p.dbl[i] && variable;
        if (p.dbl[i]) {
            (n.op == Op::Mul ? p.split.doubleMuls : p.split.doubleAdds)++;
            if (p.rounded[i]) ++p.split.narrowings;
        } else {
            (n.op == Op::Mul ? p.split.singleMuls : p.split.singleAdds)++;
        }
    }
    p.negDbl.assign(d.outputs().size(), 0);
    for (std::size_t i = 0; i < d.outputs().size(); ++i) {
        if (!d.outputs()[i].neg) continue;
        p.negDbl[i] = p.heldDouble(d.outputs()[i].id);
        if (p.negDbl[i]) {
            ++p.split.doubleAdds;
            ++p.split.narrowings;
        } else {
            ++p.split.singleAdds;
        }
    }
    for (char w : p.widened) p.split.widenings += w;
    return p;
}

namespace {

std::size_t slotCount(const Dag& d) {
    std::size_t n = 0;
    for (const Output& o : d.outputs()) n = std::max(n, static_cast<std::size_t>(o.slot) + 1);
    return n;
}

double operand(const Dag& d, const std::vector<double>& val, int id, double s) {
    const Node& n = d.node(id);
    if (n.op == Op::Const) return d.constants()[static_cast<std::size_t>(n.imm)].lanes.at(0);
    if (n.op == Op::Scale) return s;
    return val[static_cast<std::size_t>(id)];
}

}  // namespace

std::vector<float> evaluate32f(const Dag& d, const PrecisionPlan& p, const std::vector<float>& in, float s) {
    const std::vector<bool> live = d.live();
    std::vector<double> val(d.nodes().size(), 0.0);  // a single is held exactly
    for (std::size_t i = 0; i < val.size(); ++i) {
        if (!live[i]) continue;
        const Node& n = d.nodes()[i];
        if (n.op == Op::Input) {
            val[i] = in.at(static_cast<std::size_t>(n.imm));
            continue;
        }
        if (n.op != Op::Add && n.op != Op::Sub && n.op != Op::Mul) continue;
        const double a = operand(d, val, n.a, s), b = operand(d, val, n.b, s);
        if (p.dbl[i]) {
            const double r = n.op == Op::Add ? a + b : n.op == Op::Sub ? a - b : a * b;
            val[i] = p.rounded[i] ? static_cast<float>(r) : r;
        } else {
            const float fa = static_cast<float>(a), fb = static_cast<float>(b);
            val[i] = n.op == Op::Add ? fa + fb : n.op == Op::Sub ? fa - fb : fa * fb;
        }
    }
    std::vector<float> out(slotCount(d), 0.0f);
    for (std::size_t i = 0; i < d.outputs().size(); ++i) {
        const Output& o = d.outputs()[i];
        const double v = val[static_cast<std::size_t>(o.id)];
        float r = static_cast<float>(v);
        if (o.neg) r = p.negDbl[i] ? static_cast<float>(0.0 - v) : 0.0f - r;
        out[static_cast<std::size_t>(o.slot)] = r;
    }
    return out;
}

std::vector<double> evaluate64f(const Dag& d, const std::vector<double>& in, double s) {
    const std::vector<bool> live = d.live();
    std::vector<double> val(d.nodes().size(), 0.0);
    for (std::size_t i = 0; i < val.size(); ++i) {
        if (!live[i]) continue;
        const Node& n = d.nodes()[i];
        if (n.op == Op::Input) {
            val[i] = in.at(static_cast<std::size_t>(n.imm));
            continue;
        }
        if (n.op != Op::Add && n.op != Op::Sub && n.op != Op::Mul) continue;
        const double a = operand(d, val, n.a, s), b = operand(d, val, n.b, s);
        val[i] = n.op == Op::Add ? a + b : n.op == Op::Sub ? a - b : a * b;
    }
    std::vector<double> out(slotCount(d), 0.0);
    for (std::size_t i = 0; i < d.outputs().size(); ++i) {
        const Output& o = d.outputs()[i];
        const double v = val[static_cast<std::size_t>(o.id)];
        out[static_cast<std::size_t>(o.slot)] = o.neg ? 0.0 - v : v;
    }
    return out;
}

}  // namespace qrbgen::plans
