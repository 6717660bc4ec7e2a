#pragma once

#include <cstddef>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tarn::kern::meta::internal {

/// The nodes in an order in which each stands behind what it depends on. A dependency that closes a circle is reported,
/// by the nodes of the circle from its first one to the one that leads back there, and passed over.
/// `dependenciesOf(node)` is asked once per node. Chains may be of any length: nothing here recurses.
template <class Node, class Dependencies, class OnCircle>
[[nodiscard]] std::vector<Node> dependenciesFirst(const std::vector<Node>& nodes, Dependencies dependenciesOf,
                                                  OnCircle onCircle) {
  struct Step {
    Node node;
    std::vector<Node> dependencies;
    std::size_t next = 0;
  };
  std::vector<Node> order;
  std::vector<Step> path;
  std::unordered_map<Node, bool> isDone;  // a node that is known and not done stands on the path
  const auto enter = [&](const Node& node) {
    isDone.emplace(node, false);
    path.push_back({node, dependenciesOf(node)});
  };
  const auto leave = [&] {
    isDone[path.back().node] = true;
    order.push_back(path.back().node);
    path.pop_back();
  };
  const auto reportCircleTo = [&](const Node& first) {
    std::vector<Node> circle;
    for (const Step& step : path) {
      if (!circle.empty() || step.node == first) circle.push_back(step.node);
    }
    onCircle(std::as_const(circle));
  };

  for (const Node& start : nodes) {
    if (isDone.contains(start)) continue;
    enter(start);
    while (!path.empty()) {
      Step& step = path.back();
      if (step.next == step.dependencies.size()) {
        leave();
        continue;
      }
      const Node dependency = step.dependencies[step.next++];
      const auto known = isDone.find(dependency);
      if (known == isDone.end()) {
        enter(dependency);
      } else if (!known->second) {
        reportCircleTo(dependency);
      }
    }
  }
  return order;
}

}  // namespace tarn::kern::meta::internal
