#include "cli/graph/palette.h"

#include <algorithm>

const std::vector<BoxStyle>& box_styles() {
  using Kind = Node::Kind;
  static const std::vector<BoxStyle> kStyles = {
      {Kind::kGateway, nullptr, {"#dde3ea", "#57606a"}, {"#2a313a", "#9198a1"}},
      {Kind::kUplink, "uplink", {"#fff1cc", "#9a6700"}, {"#3a2d0c", "#d29922"}},
      {Kind::kLan, "local network", {"#dbebff", "#0969da"}, {"#10294a", "#4493f8"}},
      {Kind::kPassthrough, "pass-through", {"#d2f2f0", "#1b7c83"}, {"#0e3133", "#39c5cf"}},
      {Kind::kTunnel, "tunnel", {"#ebdfff", "#8250df"}, {"#2b1d4a", "#ab7df8"}},
      {Kind::kRemoteEndpoint, nullptr, {"#ebdfff", "#8250df"}, {"#2b1d4a", "#ab7df8"}},
      {Kind::kNames, nullptr, {"#d9f5e0", "#1a7f37"}, {"#12321d", "#3fb950"}},
      {Kind::kAside, "inactive or not shown", {"#eaeef2", "#818b98"}, {"#21262d", "#818b98"}},
  };
  return kStyles;
}

const BoxStyle& style_of(Node::Kind kind) {
  const std::vector<BoxStyle>& styles = box_styles();
  const auto found = std::find_if(styles.begin(), styles.end(),
                                  [kind](const BoxStyle& style) { return style.kind == kind; });
  return found != styles.end() ? *found : styles.back();
}
