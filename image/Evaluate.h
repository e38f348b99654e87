#pragma once

#include "image/Exceptions.h"
#include "image/FilterBase.h"
#include "image/FilterSet.h"
#include "image/GraphRewrite.h"

#include <cstddef>
#include <vector>

namespace VX {
namespace Image {

namespace detail {

template <class Host>
struct GraphWalk {
    FilterSet<FilterBase<Host>> done;
    FilterSet<FilterBase<Host>> onPath;
    typename FilterBase<Host>::Graph order; // inputs before their users

    void visit(FilterBase<Host>* filter) {
        if (filter == nullptr)
            throw Exception("A filter of the graph has a missing input");
        if (done.count(filter) != 0)
            return;
        // A cycle would make region propagation, cost and render recurse
        // for ever.
        if (!onPath.insert(filter))
            throw Exception("The filter graph has a cycle");
        for (FilterBase<Host>* input : filter->inputs)
            visit(input);
        onPath.erase(filter);
        done.insert(filter);
        order.push_back(filter);
    }
};

} // namespace detail

// Every filter the root reads, directly or not, itself included, each once
// and inputs before their users. Throws VX::Exception for a graph with a
// cycle or a null input.
template <class Host>
typename FilterBase<Host>::Graph reachableFilters(FilterBase<Host>& root) {
    detail::GraphWalk<Host> walk;
    walk.visit(&root);
    return std::move(walk.order);
}

// Renders the graph under `root` into args.output over args.window.
//
// Regions go back from the window to the leaves, the root writes into the
// output image itself and every filter whose input may work in place lets
// it write into its own result, so that a chain of point filters shares one
// image; other results are intermediate images, freed as soon as their
// reader has processed. The graph's progress level counts the total cost,
// and each filter moves it on by its own cost. A graph is meant to be
// evaluated once: the total cost is only counted on the first evaluation.
template <class Host>
void evaluate(FilterBase<Host>& given, Host& host, const RenderArgs& args) {
    if (args.output == nullptr)
        throw Exception("No output image to render into");

    const typename FilterBase<Host>::Graph built = reachableFilters(given);
    // What an earlier evaluation needed has nothing to do with this one.
    for (FilterBase<Host>* filter : built)
        filter->needed = kEmptyRect;
    pruneOutputs<Host>(built);

    // The rules rewire the graph; it is put back as it was built when the
    // evaluation ends, and the filters the rules made go with `rewrite`.
    GraphLinks<Host> links(built);
    GraphRewrite<Host> rewrite;
    FilterBase<Host>& root = graphRewritingEnabled() ? *rewrite.apply(given) : given;
    const typename FilterBase<Host>::Graph graph = reachableFilters(root);
    pruneOutputs<Host>(graph);

    root.requestRegion(args.window);
    for (FilterBase<Host>* filter : graph)
        filter->renderWindow = root.needed;
    // No filter needs preparing: everything renders on the processor.

    auto& level = host.progressLevel(1);
    const std::uint64_t total = root.totalCost();
    if (level.fixed == 0) {
        level.base = 0;
        level.count = total;
        level.span = 1;
    }

    // An empty window asks nothing of anybody.
    if (root.needed.empty())
        return;

    ImageRef result;
    if (args.output->hasPixels()) {
        result = makeShared<HostImage>(&host);
        viewOf(*result, *args.output, root.needed);
    }
    bool inPlace = false;
    root.render(host, args, result, inPlace);
}

} // namespace Image
} // namespace VX
