#include "service/configuration/DeltacastServiceConfigurationHandler.h"

#include <gmock/gmock.h>

#include <map>
#include <stdexcept>

#include "tests/service/configuration/ParsedElement.h"

namespace tarn::service::configuration {

namespace {

const std::string header =
    "DeltacastServiceConfigurationHandler > DeltacastService configuration error: ";

class DeltacastServiceTest : public testing::Test {
  protected:
    /// The whole element: in the order of its checks, each child as its own text.
    std::map<int, std::string> children = {
        {1, "<CommandLine>svc</CommandLine>"},
        {2, "<DefaultPixelFormat>rgb24</DefaultPixelFormat>"},
        {3, "<DefaultBoard0InputList>0 1</DefaultBoard0InputList>"},
        {4, "<DefaultBoard0InputFrameOffsetList>2 3</DefaultBoard0InputFrameOffsetList>"},
        {5, "<DefaultLineCount>720</DefaultLineCount>"},
        {6, "<DefaultFieldMode>psf</DefaultFieldMode>"},
        {7, "<DefaultFrameRate>5994</DefaultFrameRate>"},
    };

    bool parse() {
        std::string text = "<DeltacastService>\n";
        for (const auto& [order, child] : children) {
            text += child + "\n";
        }
        return handler.parseXml(*ParsedElement(text + "</DeltacastService>"), error);
    }

    bool parseWith(int order, const std::string& child) {
        children[order] = child;
        return parse();
    }

    std::string errorWith(int order, const std::string& child) {
        EXPECT_FALSE(parseWith(order, child)) << child;
        return error;
    }

    template <typename Exception>
    std::string thrownWith(int order, const std::string& child) {
        try {
            parseWith(order, child);
        } catch (const Exception& exception) {
            return exception.what();
        }
        return "nothing thrown";
    }

    std::string commandLineFor(const std::string& text) {
        EXPECT_TRUE(parseWith(1, "<CommandLine>" + text + "</CommandLine>")) << error;
        return handler.getDefaultCommandLine();
    }

    /// Why the command line cannot be filled with the defaults.
    std::string refusal() {
        EXPECT_TRUE(parse()) << error;
        try {
            return "filled: " + handler.getDefaultCommandLine();
        } catch (const std::invalid_argument& exception) {
            return exception.what();
        }
    }

    DeltacastServiceConfigurationHandler handler;
    std::string error = "from before";
};

}  // namespace

TEST_F(DeltacastServiceTest, TakesEverySetting) {
    ASSERT_TRUE(parse()) << error;
    EXPECT_EQ(error, "");
    EXPECT_TRUE(handler.isValid());
    EXPECT_EQ(handler.toString(),
              "svc[ pix rgb24][ inputs 0 1][ lines 720][ field psf][ rate 5994]");
}

TEST_F(DeltacastServiceTest, NamesOfElementsIgnoreCase) {
    EXPECT_TRUE(parseWith(1, "<COMMANDLINE>svc</COMMANDLINE>")) << error;
    EXPECT_TRUE(parseWith(5, "<defaultlinecount>488</defaultlinecount>")) << error;
}

TEST_F(DeltacastServiceTest, TheFirstOfSeveralElementsCounts) {
    ASSERT_TRUE(parseWith(1, "<CommandLine>first</CommandLine><CommandLine/>")) << error;
    EXPECT_EQ(handler.getDefaultCommandLine(), "first");
}

TEST_F(DeltacastServiceTest, EachMissingElementHasItsTextInTheOrderOfTheChecks) {
    const std::vector<std::pair<int, std::string>> names = {
        {7, "DefaultFrameRate"},
        {6, "DefaultFieldMode"},
        {5, "DefaultLineCount"},
        {4, "DefaultBoard0InputFrameOffsetList"},
        {3, "DefaultBoard0InputList"},
        {2, "DefaultPixelFormat"},
        {1, "CommandLine"}};
    for (const auto& [order, name] : names) {
        children.erase(order);
        EXPECT_FALSE(parse());
        EXPECT_EQ(error, header + "no " + name + " node");
    }
    EXPECT_FALSE(handler.isValid());
}

TEST_F(DeltacastServiceTest, AMissingCommandLineIsReportedWithAllDefaultsPresent) {
    EXPECT_EQ(errorWith(1, ""), header + "no CommandLine node");
}

TEST_F(DeltacastServiceTest, ACommandLineWithoutContentIsAnError) {
    EXPECT_EQ(errorWith(1, "<CommandLine/>"), header + "CommandLine node error");
    EXPECT_EQ(errorWith(1, "<CommandLine></CommandLine>"), header + "CommandLine node error");
}

TEST_F(DeltacastServiceTest, ACommandLineWithoutTextIsEmpty) {
    EXPECT_EQ(errorWith(1, "<CommandLine><![CDATA[]]></CommandLine>"),
              header + "CommandLine node is empty");
}

TEST_F(DeltacastServiceTest, ThePixelFormatIsOneOfTwoExactly) {
    EXPECT_TRUE(parseWith(2, "<DefaultPixelFormat>uyvy422_8</DefaultPixelFormat>"));
    const std::string invalid =
        header + "DefaultPixelFormat node is invalid: only uyvy422_8 and rgb24 are supported";
    EXPECT_EQ(errorWith(2, "<DefaultPixelFormat>UYVY422_8</DefaultPixelFormat>"), invalid);
    EXPECT_EQ(errorWith(2, "<DefaultPixelFormat/>"), invalid);
}

TEST_F(DeltacastServiceTest, TheLineCountIsOneOfFour) {
    for (const char* const good : {"488", "576", "720", "1080", " +1080x"}) {
        EXPECT_TRUE(parseWith(5, std::string("<DefaultLineCount>") + good + "</DefaultLineCount>"))
            << good << error;
    }
    for (const char* const bad : {"1081", "0", "-720"}) {
        EXPECT_EQ(
            errorWith(5, std::string("<DefaultLineCount>") + bad + "</DefaultLineCount>"),
            header + "DefaultLineCount node is invalid: only 488, 576, 720 and 1080 are supported");
    }
}

TEST_F(DeltacastServiceTest, TheFieldModeIsOneOfThreeExactly) {
    for (const char* const good : {"i", "p", "psf"}) {
        EXPECT_TRUE(parseWith(6, std::string("<DefaultFieldMode>") + good + "</DefaultFieldMode>"));
    }
    const std::string invalid =
        header + "DefaultFieldMode node is invalid: only i, p and psf are supported";
    EXPECT_EQ(errorWith(6, "<DefaultFieldMode>P</DefaultFieldMode>"), invalid);
    EXPECT_EQ(errorWith(6, "<DefaultFieldMode> p</DefaultFieldMode>"), invalid);
    EXPECT_EQ(errorWith(6, "<DefaultFieldMode/>"), invalid);
}

TEST_F(DeltacastServiceTest, TheFrameRateIsOneOfEight) {
    for (const char* const good : {"23976", "24", "25", "2997", "30", "50", "5994", "60"}) {
        EXPECT_TRUE(parseWith(7, std::string("<DefaultFrameRate>") + good + "</DefaultFrameRate>"));
    }
    EXPECT_EQ(errorWith(7, "<DefaultFrameRate>29</DefaultFrameRate>"),
              header +
                  "DefaultFrameRate node is invalid: only 23976, 24, 25, 2997, 30, 50, 5994 and "
                  "60 are supported");
}

TEST_F(DeltacastServiceTest, ANumberThatIsNoneThrowsAndSaysWhich) {
    EXPECT_EQ(thrownWith<std::invalid_argument>(5, "<DefaultLineCount>HD</DefaultLineCount>"),
              "stoi: DefaultLineCount is not a decimal number: \"HD\" (line 6)");
    children[5] = "<DefaultLineCount>720</DefaultLineCount>";
    EXPECT_EQ(thrownWith<std::invalid_argument>(7, "<DefaultFrameRate/>"),
              "stoi: DefaultFrameRate is not a decimal number: \"\" (line 8)");
    EXPECT_EQ(thrownWith<std::out_of_range>(7, "<DefaultFrameRate>2147483648</DefaultFrameRate>"),
              "stoi: DefaultFrameRate is out of range: \"2147483648\" (line 8)");
}

TEST_F(DeltacastServiceTest, TheListsAreAnyTextAlsoNone) {
    ASSERT_TRUE(parseWith(3, "<DefaultBoard0InputList/>")) << error;
    EXPECT_EQ(handler.toString(), "svc[ pix rgb24][ inputs ][ lines 720][ field psf][ rate 5994]");
}

TEST_F(DeltacastServiceTest, TheListsAreStoredWhateverTheyHold) {
    children[3] = "<DefaultBoard0InputList>0 %board0-input-list</DefaultBoard0InputList>";
    children[4] =
        "<DefaultBoard0InputFrameOffsetList>%board0-input-frameoffset"
        "</DefaultBoard0InputFrameOffsetList>";
    ASSERT_TRUE(parse()) << error;
    EXPECT_TRUE(handler.isValid());
    EXPECT_EQ(handler.toString(),
              "svc[ pix rgb24][ inputs 0 %board0-input-list][ lines 720][ field psf][ rate 5994]");
}

TEST_F(DeltacastServiceTest, AListThatHoldsItsOwnPlaceholderIsRefusedWhereItIsFilledIn) {
    children[1] = "<CommandLine>svc %board0-input-list</CommandLine>";
    children[3] = "<DefaultBoard0InputList>0 %board0-input-list</DefaultBoard0InputList>";
    EXPECT_EQ(refusal(),
              "DeltacastServiceConfigurationHandler > the value \"0 %board0-input-list\" holds its "
              "own placeholder %board0-input-list");
    children[1] = "<CommandLine>svc %board0-input-frameoffset</CommandLine>";
    children[4] =
        "<DefaultBoard0InputFrameOffsetList>%board0-input-frameoffset"
        "</DefaultBoard0InputFrameOffsetList>";
    EXPECT_EQ(refusal(),
              "DeltacastServiceConfigurationHandler > the value \"%board0-input-frameoffset\" "
              "holds its own placeholder %board0-input-frameoffset");
}

TEST_F(DeltacastServiceTest, AListThatHoldsItsOwnPlaceholderDoesNoHarmWhereThatDoesNotStand) {
    children[1] = "<CommandLine>svc</CommandLine>";
    children[3] = "<DefaultBoard0InputList>%board0-input-list</DefaultBoard0InputList>";
    ASSERT_TRUE(parse()) << error;
    EXPECT_EQ(handler.getDefaultCommandLine(), "svc");
}

TEST_F(DeltacastServiceTest, AListThatEndsWithTheBeginningOfItsPlaceholderIsFilledIn) {
    children[1] = "<CommandLine>svc %board0-input-list</CommandLine>";
    ASSERT_TRUE(parseWith(3, "<DefaultBoard0InputList>0 %</DefaultBoard0InputList>")) << error;
    EXPECT_EQ(handler.getDefaultCommandLine(), "svc 0 %");
}

TEST_F(DeltacastServiceTest, AValueThatMakesTheCommandLineTooLongIsRefused) {
    children[1] = "<CommandLine>%board0-input-list %board0-input-list</CommandLine>";
    const std::string half(DeltacastServiceConfigurationHandler::longestCommandLine / 2, '1');
    ASSERT_TRUE(parseWith(3, "<DefaultBoard0InputList>" + half + "</DefaultBoard0InputList>"));
    EXPECT_THAT(refusal(), testing::EndsWith("1...\" makes the command line endless or too long in "
                                             "the place of %board0-input-list"));
}

TEST_F(DeltacastServiceTest, AListMayHoldAnotherPlaceholder) {
    children[1] = "<CommandLine>svc %board0-input-list</CommandLine>";
    ASSERT_TRUE(parseWith(3, "<DefaultBoard0InputList>%line-count</DefaultBoard0InputList>"))
        << error;
    EXPECT_EQ(handler.getDefaultCommandLine(), "svc 720");
}

TEST_F(DeltacastServiceTest, EveryOccurrenceOfAPlaceholderIsReplaced) {
    EXPECT_EQ(commandLineFor("svc --pix %pixel-format --pix2 %pixel-format"),
              "svc --pix rgb24 --pix2 rgb24");
}

TEST_F(DeltacastServiceTest, EveryPlaceholderIsReplaced) {
    const std::string all =
        "%pixel-format %board0-input-list %board0-input-frameoffset %line-count %field-mode "
        "%frame-rate";
    EXPECT_EQ(commandLineFor(all), "rgb24 0 1 2 3 720 psf 5994");
    EXPECT_EQ(handler.getCommandLine("uyvy422_8", "4 ", "-1 ", 4294967295U, "i", 60),
              "uyvy422_8 4  -1  4294967295 i 60");
}

TEST_F(DeltacastServiceTest, ATemplateWithoutPlaceholdersComesBackUnchanged) {
    EXPECT_EQ(commandLineFor("svc 100% %unknown $(x)"), "svc 100% %unknown $(x)");
}

TEST_F(DeltacastServiceTest, IsInvalidWhileNothingWasParsed) {
    EXPECT_EQ(handler.toString(), "Invalid");
    EXPECT_FALSE(parseWith(1, ""));
    EXPECT_EQ(handler.toString(), "Invalid");
}

TEST_F(DeltacastServiceTest, ResetRestoresTheDefaultsAndKeepsTheHandlerValid) {
    ASSERT_TRUE(parse());
    handler.reset();
    EXPECT_EQ(handler.toString(), "[ pix uyvy422_8][ inputs 0][ lines 1080][ field i][ rate 25]");
}

TEST_F(DeltacastServiceTest, ARejectedValueStays) {
    ASSERT_TRUE(parse());
    EXPECT_FALSE(parseWith(6, "<DefaultFieldMode>x</DefaultFieldMode>"));
    EXPECT_EQ(handler.toString(), "svc[ pix rgb24][ inputs 0 1][ lines 720][ field x][ rate 25]");
}

}  // namespace tarn::service::configuration
