#include "cli/graph/edges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace {

// Builds an SVG drawing as Graphviz writes it, with only the lines that matter here.
class Svg {
 public:
  Svg& box(const std::string& name, int left, int top, int right, int bottom) {
    const std::string l = std::to_string(left);
    const std::string t = std::to_string(top);
    const std::string r = std::to_string(right);
    const std::string b = std::to_string(bottom);
    lines_ << "<g id=\"node\" class=\"node\">\n<title>" << name << "</title>\n<polygon points=\"" << r << ","
           << t << " " << l << "," << t << " " << l << "," << b << " " << r << "," << b << "\"/>\n"
           << "<polygon points=\"0,0 999,999\"/>\n</g>\n";
    return *this;
  }

  Svg& edge(const std::string& from, const std::string& to) {
    lines_ << "<g id=\"edge\" class=\"edge\">\n<title>" << from << "&#45;&#45;" << to << "</title>\n"
           << "<path id=\"" << from << "-" << to << "\" d=\"M1,2C3\"/>\n</g>\n";
    return *this;
  }

  // The path of an edge in the result of with_right_angles().
  std::string path(const std::string& edge) const {
    const std::string drawn = with_right_angles(
        "<g class=\"graph\">\n<title>lanfab</title>\n"
        "<polygon points=\"-500,0 900,999\"/>\n" +
        lines_.str());
    const std::size_t begin = drawn.find(" d=\"", drawn.find("id=\"" + edge + "\"")) + 4;
    return drawn.substr(begin, drawn.find('"', begin) - begin);
  }

 private:
  std::ostringstream lines_;
};

}  // namespace

TEST(Edges, ALineIsStraightWhereItCanBe) {
  Svg svg;
  svg.box("n0", 0, 0, 10, 40).box("n1", 50, 0, 90, 60).edge("n0", "n1");
  EXPECT_EQ(svg.path("n0-n1"), "M10.00,30.00H50.00");
}

TEST(Edges, ALineBendsBetweenTheColumns) {
  Svg svg;
  svg.box("n0", 0, 0, 10, 40).box("n1", 50, 100, 90, 140).edge("n0", "n1");
  EXPECT_EQ(svg.path("n0-n1"), "M10.00,20.00H30.00V120.00H50.00");
}

TEST(Edges, TheBendIsBesideTheWidestBoxes) {
  Svg svg;
  svg.box("n0", 20, 0, 40, 40).box("n2", 0, 100, 60, 140);
  svg.box("n1", 120, 100, 140, 140).box("n3", 100, 0, 160, 40);
  svg.edge("n0", "n1").edge("n2", "n3");
  // The bends are between x = 60 and x = 100, in two lanes, so that they do not coincide.
  EXPECT_EQ(svg.path("n0-n1"), "M40.00,20.00H73.33V120.00H120.00");
  EXPECT_EQ(svg.path("n2-n3"), "M60.00,120.00H86.67V20.00H100.00");
}

TEST(Edges, LinesFromOneBoxShareItsMiddle) {
  Svg svg;
  svg.box("n0", 0, 100, 10, 140).box("n1", 50, 0, 90, 40).box("n2", 50, 200, 90, 240);
  svg.edge("n0", "n1").edge("n0", "n2");
  EXPECT_EQ(svg.path("n0-n1"), "M10.00,120.00H30.00V20.00H50.00");
  EXPECT_EQ(svg.path("n0-n2"), "M10.00,120.00H30.00V220.00H50.00");
}

TEST(Edges, LinesToOneBoxShareItsMiddle) {
  Svg svg;
  svg.box("n1", 0, 0, 10, 40).box("n2", 0, 200, 10, 240).box("n0", 50, 100, 90, 140);
  svg.edge("n1", "n0").edge("n2", "n0");
  EXPECT_EQ(svg.path("n1-n0"), "M10.00,20.00H30.00V120.00H50.00");
  EXPECT_EQ(svg.path("n2-n0"), "M10.00,220.00H30.00V120.00H50.00");
}

TEST(Edges, TheInternetHasALineOfItsOwn) {
  Svg svg;
  svg.box("n1", 0, 0, 20, 40).box("internet", 0, 200, 20, 240).box("n0", 80, 90, 120, 150);
  svg.edge("n1", "n0").edge("internet", "n0");
  EXPECT_EQ(svg.path("n1-n0"), "M20.00,20.00H50.00V110.00H80.00");
  EXPECT_EQ(svg.path("internet-n0"), "M20.00,220.00H50.00V130.00H80.00");
}

TEST(Edges, ABendHasNoSides) {
  Svg svg;
  svg.box("internet", 0, 0, 20, 40).box("bend0", 58, 19, 62, 21).box("n0", 100, 0, 120, 40);
  svg.edge("internet", "bend0").edge("bend0", "n0");
  EXPECT_EQ(svg.path("internet-bend0"), "M20.00,20.00H60.00");
  EXPECT_EQ(svg.path("bend0-n0"), "M60.00,20.00H100.00");
}

TEST(Edges, ADiagramOfOneBoxHasNone) {
  EXPECT_EQ(with_right_angles("<svg>\n<g class=\"node\">\n<title>n0</title>\n</g>\n"),
            "<svg>\n<g class=\"node\">\n<title>n0</title>\n</g>\n");
}
