// The pass that keeps the last of repeated attributes before the XML library parses.
#include <gtest/gtest.h>

#include <tinyxml.h>

#include <algorithm>

#include "xmlattributes.h"

TEST(KeepLastRepeatedAttributes, TheLastOfARepeatedAttributeStays)
{
    EXPECT_EQ(keepLastRepeatedAttributes("<workplace id=\"1\" id=\"3\"><ports /></workplace>", "workplace"),
              "<workplace  id=\"3\"><ports /></workplace>");
    EXPECT_EQ(keepLastRepeatedAttributes("<workplace id='1' x=\"a\" id = \"2\" id='5'/>", "workplace"),
              "<workplace  x=\"a\"  id='5'/>");
}

TEST(KeepLastRepeatedAttributes, TheResultParsesWhereTheOriginalIsRefused)
{
    const std::string text = "<workplaces><workplace id=\"1\"\n   id=\"4\"><ports>7</ports></workplace></workplaces>";
    TiXmlDocument original;
    original.Parse(text.c_str());
    EXPECT_TRUE(original.Error());

    TiXmlDocument reduced;
    reduced.Parse(keepLastRepeatedAttributes(text, "workplace").c_str());
    ASSERT_FALSE(reduced.Error()) << reduced.ErrorDesc();
    const TiXmlElement* workplace = reduced.RootElement()->FirstChildElement("workplace");
    ASSERT_NE(workplace, nullptr);
    EXPECT_STREQ(workplace->Attribute("id"), "4");
    // The line break in front of the dropped attribute stays.
    const std::string result = keepLastRepeatedAttributes(text, "workplace");
    EXPECT_EQ(std::count(result.begin(), result.end(), '\n'), std::count(text.begin(), text.end(), '\n'));
}

TEST(KeepLastRepeatedAttributes, OtherElementsAndTextStayAsTheyAre)
{
    const std::string text = "<?xml version=\"1.0\" ?>\n<!-- <workplace id=\"1\" id=\"2\"> -->"
                             "<workplaces a=\"1\" a=\"2\"><mainframeDriver id=\"1\" id=\"2\" />"
                             "<workplaceX id=\"1\" id=\"2\"/><![CDATA[<workplace id=\"1\" id=\"2\">]]>"
                             "<x v=\"<workplace id='1' id='2'>\"/>text</workplaces>";
    EXPECT_EQ(keepLastRepeatedAttributes(text, "workplace"), text);
}

TEST(KeepLastRepeatedAttributes, ATagThisPassCannotReadStaysAsItStands)
{
    for (const std::string text : {"<workplace id=1 id=2>", "<workplace id=\"1\" id=\"2\"", "<workplace id=\"1\" id=\"2",
                                   "<workplace id=\"1\"id=\"2\">", "<workplace id \"1\" id=\"2\">", "<workplace",
                                   "<", "<workplace =\"1\" =\"2\">", "<!-- <workplace id=\"1\" id=\"2\">"})
        EXPECT_EQ(keepLastRepeatedAttributes(text, "workplace"), text) << text;
}

TEST(KeepLastRepeatedAttributes, AValueMayHoldTheOtherQuoteAndTheTagEnd)
{
    EXPECT_EQ(keepLastRepeatedAttributes("<workplace id=\"a'>\" id='b\">'>", "workplace"),
              "<workplace  id='b\">'>");
}
