#pragma once

// The rewriting step of a graph's evaluation: rules that replace parts of
// the graph by filters that compute the same bits with less work.
//
// 1. A stencil blend (modes 30 and 31) at opacity 0 gives the background's
//    colour with alpha 0, whatever the layer: it becomes a ZeroAlphaFilter
//    on the background, and the layer's branch is never rendered. For
//    finite samples the alpha it gives is the blend's 0; where the blend
//    would multiply 0 by a negative or non-finite value (a float image
//    holding NaN or infinity, or a mask that rings below 0) it would give
//    -0 or NaN, and the rewritten graph gives +0: the fully transparent
//    pixel that a stencil at opacity 0 stands for. Premultiplied after the
//    blend, that pixel is transparent black: the premultiply and the blend
//    become one ClearFilter (in float, where the graph would give -0 or NaN
//    colour it gives +0).
// 2. [premultiply] stencil-luma blend of X by blur(desaturate(levels(X))),
//    with X = [unpremultiply] input, becomes one MaskStencilFilter on the
//    input: two passes over the pixels instead of six filters.
// 3. Point filters that each read only the one before become one
//    PointChainFilter, which runs them block of rows by block of rows.
//
// Rules 1 and 2 leave filters unreachable; the evaluation forgets them.
// Filters the rules make live as long as the GraphRewrite object; the graph
// it was given is changed (inputs and outputs) and has to be put back with
// GraphLinks after the evaluation.

#include "image/ClearFilter.h"
#include "image/FilterBase.h"
#include "image/FilterSet.h"
#include "image/FilterLayer.h"
#include "image/filters/AlphaFilters.h"
#include "image/filters/BalanceFilter.h"
#include "image/filters/BlendFilter.h"
#include "image/filters/BlendModes.h"
#include "image/filters/GaussianBlurFilter.h"
#include "image/filters/HSVCCFilter.h"
#include "image/filters/MaskStencilFilter.h"
#include "image/filters/PointChainFilter.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace VX {
namespace Image {

// Whether evaluations rewrite their graphs; on unless a test or benchmark
// has turned it off (see ForcedGraphRewriting).
bool graphRewritingEnabled();

// For tests and benchmarks: rewriting on or off until destroyed.
class ForcedGraphRewriting {
public:
    explicit ForcedGraphRewriting(bool enabled);
    ~ForcedGraphRewriting();
    ForcedGraphRewriting(const ForcedGraphRewriting&) = delete;
    ForcedGraphRewriting& operator=(const ForcedGraphRewriting&) = delete;
};

// Forgets every output of the `reachable` filters that is not one of them,
// so that a filter read by one reachable filter is not taken for a shared
// one (by the evaluation, and by the rewriting's rules).
template <class Host>
void pruneOutputs(const typename FilterBase<Host>::Graph& reachable) {
    const FilterSet<FilterBase<Host>> keep(reachable.begin(), reachable.end());
    for (FilterBase<Host>* filter : reachable) {
        auto& outputs = filter->outputs;
        outputs.erase(
            std::remove_if(outputs.begin(), outputs.end(),
                           [&](const FilterBase<Host>* user) { return keep.count(user) == 0; }),
            outputs.end());
    }
}

// Every filter's inputs and outputs as they were, put back on destruction.
template <class Host>
class GraphLinks {
public:
    explicit GraphLinks(const typename FilterBase<Host>::Graph& filters) {
        saved_.reserve(filters.size());
        for (FilterBase<Host>* f : filters)
            saved_.push_back({f, f->inputs, f->outputs});
    }
    ~GraphLinks() {
        for (Saved& s : saved_) {
            s.filter->inputs = std::move(s.inputs);
            s.filter->outputs = std::move(s.outputs);
        }
    }
    GraphLinks(const GraphLinks&) = delete;
    GraphLinks& operator=(const GraphLinks&) = delete;

private:
    struct Saved {
        FilterBase<Host>* filter;
        typename FilterBase<Host>::Links inputs, outputs;
    };
    std::vector<Saved> saved_;
};

template <class Host>
class GraphRewrite {
public:
    // Applies the rules to the graph under `root`, whose filters' outputs
    // hold only filters the root reaches; returns the new root.
    FilterBase<Host>* apply(FilterBase<Host>& root) {
        root_ = &root;
        for (FilterBase<Host>* f : usersFirst())
            if (!replaceTransparentStencil(*f))
                replaceMaskStencil(*f);
        pruneUnreachable();
        FilterSet<FilterBase<Host>> chained;
        for (FilterBase<Host>* f : usersFirst())
            if (chained.count(f) == 0)
                replacePointChain(*f, chained);
        return root_;
    }

    // What the rules made, in order.
    const std::vector<std::unique_ptr<FilterBase<Host>>>& made() const { return made_; }

private:
    template <class F, class... Args>
    F* make(Args&&... args) {
        made_.emplace_back(new F(std::forward<Args>(args)...));
        return static_cast<F*>(made_.back().get());
    }

    // The graph's filters, each after every filter that reads it.
    typename FilterBase<Host>::Graph usersFirst() const {
        typename FilterBase<Host>::Graph order;
        FilterSet<FilterBase<Host>> seen;
        visit(root_, seen, order);
        std::reverse(order.begin(), order.end());
        return order;
    }
    static void visit(FilterBase<Host>* f, FilterSet<FilterBase<Host>>& seen,
                      typename FilterBase<Host>::Graph& order) {
        if (!seen.insert(f))
            return;
        for (FilterBase<Host>* input : f->inputs)
            visit(input, seen, order);
        order.push_back(f);
    }

    void pruneUnreachable() { pruneOutputs<Host>(usersFirst()); }

    // Makes the readers of `old` read `by` instead.
    void replace(FilterBase<Host>& old, FilterBase<Host>& by) {
        for (FilterBase<Host>* user : old.outputs) {
            for (FilterBase<Host>*& input : user->inputs)
                if (input == &old)
                    input = &by;
            by.outputs.push_back(user);
        }
        if (root_ == &old)
            root_ = &by;
    }

    static bool soleReader(const FilterBase<Host>& f) {
        return f.outputs.size() == 1 && f.inputs.size() == 1;
    }

    // Rule 1.
    bool replaceTransparentStencil(FilterBase<Host>& f) {
        auto* blend = dynamic_cast<BlendFilter<Host>*>(&f);
        if (blend == nullptr || blend->opacity != 0.0f || blend->inputs.size() != 2)
            return false;
        const int slot = BlendModes::blendModeSlot(blend->mode);
        if (slot != 30 && slot != 31)
            return false;
        // Premultiplied, colour with alpha 0 is transparent black: nothing
        // below is read at all.
        if (blend->outputs.size() == 1 &&
            dynamic_cast<PremultAlphaFilter<Host>*>(blend->outputs[0]) != nullptr) {
            replace(*blend->outputs[0], *make<ClearFilter<Host>>());
            return true;
        }
        replace(f, *make<ZeroAlphaFilter<Host>>(blend->inputs[0]));
        return true;
    }

    // Rule 2.
    bool replaceMaskStencil(FilterBase<Host>& f) {
        auto* blend = dynamic_cast<BlendFilter<Host>*>(&f);
        if (blend == nullptr || BlendModes::blendModeSlot(blend->mode) != 31 ||
            blend->inputs.size() != 2)
            return false;
        FilterBase<Host>* x = blend->inputs[0];
        auto* blur = dynamic_cast<GaussianBlurFilter<Host>*>(blend->inputs[1]);
        if (blur == nullptr || !soleReader(*blur) || blur->firstOrder != 0 ||
            blur->secondOrder != 0)
            return false;
        auto* grey = dynamic_cast<HSVCCFilter<Host>*>(blur->inputs[0]);
        if (grey == nullptr || !soleReader(*grey) || grey->saturationFactor != 0.0f)
            return false;
        auto* levels = dynamic_cast<BalanceFilter<Host>*>(grey->inputs[0]);
        if (levels == nullptr || dynamic_cast<HSVCCFilter<Host>*>(levels) != nullptr ||
            !soleReader(*levels) || levels->gamma != 1.0f || levels->inputs[0] != x ||
            x->outputs.size() != 2)
            return false;

        MaskStencilSettings settings;
        FilterBase<Host>* input = x;
        std::uint64_t cost = levels->cost() + grey->cost() + blur->cost() + blend->cost();
        if (auto* unmult = dynamic_cast<UnmultAlphaFilter<Host>*>(x)) {
            if (unmult->inputs.size() != 1)
                return false;
            settings.unmultiply = true;
            input = unmult->inputs[0];
            cost += unmult->cost();
        }
        FilterBase<Host>* top = blend;
        if (blend->outputs.size() == 1 &&
            dynamic_cast<PremultAlphaFilter<Host>*>(blend->outputs[0]) != nullptr) {
            top = blend->outputs[0];
            settings.premultiply = true;
            cost += top->cost();
        }
        settings.levels = levels->balanceParams();
        settings.greyValue = grey->valueFactor;
        settings.opacity = blend->opacity;
        replace(*top, *make<MaskStencilFilter<Host>>(input, settings, double(blur->firstSize),
                                                     double(blur->secondSize), cost));
        return true;
    }

    // Rule 3, for the chain that `top` ends.
    void replacePointChain(FilterBase<Host>& top, FilterSet<FilterBase<Host>>& chained) {
        auto* last = dynamic_cast<PointFilter<Host>*>(&top);
        if (last == nullptr || last->inputs.size() != 1)
            return;
        // Gathered from the top down, run from the bottom up.
        std::vector<PointFilter<Host>*> chain{last};
        chained.insert(last);
        for (;;) {
            auto* before = dynamic_cast<PointFilter<Host>*>(chain.back()->inputs.front());
            if (before == nullptr || !soleReader(*before))
                break;
            chain.push_back(before);
            chained.insert(before);
        }
        if (chain.size() < 2)
            return;
        std::reverse(chain.begin(), chain.end());
        replace(top, *make<PointChainFilter<Host>>(std::move(chain)));
    }

    FilterBase<Host>* root_ = nullptr;
    std::vector<std::unique_ptr<FilterBase<Host>>> made_;
};

} // namespace Image
} // namespace VX
