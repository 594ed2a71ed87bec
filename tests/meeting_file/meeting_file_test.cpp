#include <gtest/gtest.h>
#include <unistd.h>
#include <xxhash.h>
#include <zstd.h>

#include "files/careful_file.h"
#include "meeting_file/reader.h"
#include "meeting_file/writer.h"

using namespace meeting_file;

namespace {

const About kAbout{"standup", "quorvia 1.0.0", 1'760'000'000'123};

std::string Written(const std::vector<Item>& items, const About& about = kAbout)
{
    std::string bytes;
    Writer writer(about, [&](std::string_view more) { bytes += more; });
    for (const Item& item : items) writer.Add(item);
    bytes += writer.Tail();
    return bytes;
}

std::vector<Item> ReadAll(Reader& reader)
{
    std::vector<Item> items;
    for (std::size_t frame = 0; frame < reader.Frames(); ++frame)
        for (Item& item : reader.Frame(frame)) items.push_back(std::move(item));
    return items;
}

std::vector<Item> Some(std::size_t count, std::size_t bodyBytes = 10)
{
    std::vector<Item> items;
    for (std::size_t i = 0; i < count; ++i) {
        std::string body = "[[ZUM_WB_PEN]]" + std::to_string(i);
        body.resize(body.size() + bodyBytes, 'x');
        items.push_back({Kind::Record, "Ann", i + 1, std::int64_t(1000 * i), 0, 0, body});
    }
    return items;
}

/// What a reader says, "whole" when nothing.
std::string Verdict(const std::string& bytes)
try {
    Reader reader(MemorySource(bytes));
    const auto items = ReadAll(reader);
    return reader.Problem().empty() ? "whole" : "first " + std::to_string(items.size());
} catch (const BadFile& bad) {
    return bad.what();
}

/// One frame of any content in a file whose sums are right.
std::string Forged(const std::string& plain, std::uint32_t saidPlain, std::uint32_t saidItems)
{
    std::string bytes;
    Writer writer(kAbout, [&](std::string_view more) { bytes += more; });
    std::string packed(ZSTD_compressBound(plain.size()), '\0');
    packed.resize(ZSTD_compress(packed.data(), packed.size(), plain.data(), plain.size(), 1));
    const std::uint64_t begins = bytes.size() + packed.size();
    std::string index;
    Put(index, std::uint32_t(packed.size()));
    Put(index, saidPlain);
    Put(index, saidItems);
    Put(index, std::uint64_t(XXH64(packed.data(), packed.size(), 0)));
    index += bytes.substr(bytes.size() - kSumBytes);
    Put(index, begins);
    Put(index, std::uint32_t(1));
    Put(index, kVersion);
    Put(index, std::uint64_t(XXH64(index.data(), index.size(), 0)));
    index += kIndexMagic;
    bytes += packed;
    Put(bytes, kIndexFrame);
    Put(bytes, std::uint32_t(index.size()));
    return bytes + index;
}

std::string ItemBytes(std::uint32_t size, std::uint8_t kind, std::uint16_t handle, const std::string& rest)
{
    std::string bytes;
    Put(bytes, size);
    Put(bytes, kind);
    Put(bytes, std::uint8_t(0));
    Put(bytes, handle);
    Put(bytes, std::uint64_t(0));
    Put(bytes, std::int64_t(0));
    return bytes + rest;
}

}  // namespace

TEST(MeetingFile, GivesBackWhatWasPutIn)
{
    std::vector<Item> items = Some(3000);
    items[1] = {Kind::Picture, "Bo\xc3\xab", 7, -1, -32768, 32767, std::string("\xff\xd8\0jpeg", 7)};
    items[2] = {Kind::Line, "", 0, 0, 0, 0, ""};
    items[3] = {Kind::TakeBack, "Ann", 9, 4, 0, 0, "Bo\xc3\xab"};
    items[3].body.assign(kBodyBytes, 'y');  // the largest
    items[4].from.assign(kHandleBytes, 'h');
    Reader reader(MemorySource(Written(items)));
    EXPECT_EQ(reader.Problem(), "");
    EXPECT_EQ(reader.About(), kAbout);
    EXPECT_EQ(reader.Items(), items.size());
    EXPECT_GT(reader.Frames(), 2u);
    EXPECT_EQ(ReadAll(reader), items);
    for (const std::uint64_t item : {0ul, 3ul, 4ul, 5ul, 1023ul, 1024ul, 2999ul}) {
        const std::size_t frame = reader.FrameOf(item);
        EXPECT_EQ(reader.Frame(frame)[item - reader.FirstOf(frame)], items[item]) << item;
    }
    EXPECT_EQ(Verdict(Written({})), "whole");
}

TEST(MeetingFile, RefusesToKeepWhatNoReaderTakes)
{
    std::string bytes;
    Writer writer(kAbout, [&](std::string_view more) { bytes += more; });
    Item item = Some(1).front();
    item.body.assign(kBodyBytes + 1, 'x');
    EXPECT_THROW(writer.Add(item), BadFile);
    item.body = "fits";
    item.from.assign(kHandleBytes + 1, 'h');
    EXPECT_THROW(writer.Add(item), BadFile);
    item.from = "Ann";
    writer.Add(item);
    bytes += writer.Tail();
    Reader reader(MemorySource(bytes));
    EXPECT_EQ(ReadAll(reader), std::vector<Item>{item});
    EXPECT_THROW(Written({}, {std::string(kTitleBytes + 1, 't'), "", 0}), BadFile);
}

TEST(MeetingFile, EndsAtAnyTimeAndGoesOn)
{
    const auto items = Some(1500);
    std::string bytes;
    Writer writer(kAbout, [&](std::string_view more) { bytes += more; });
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i % 500 == 1) {
            Reader early(MemorySource(bytes + writer.Tail()));
            EXPECT_EQ(ReadAll(early), std::vector<Item>(items.begin(), items.begin() + long(i)));
        }
        writer.Add(items[i]);
    }
    EXPECT_EQ(bytes + writer.Tail(), Written(items));
}

TEST(MeetingFile, AnyDecompressorUnpacksIt)
{
    const std::string bytes = Written(Some(1500));
    std::string plain;
    ZSTD_DCtx* context = ZSTD_createDCtx();
    ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
    std::string room(1 << 20, '\0');
    while (in.pos < in.size) {
        ZSTD_outBuffer out{room.data(), room.size(), 0};
        ASSERT_FALSE(ZSTD_isError(ZSTD_decompressStream(context, &out, &in)));
        plain.append(room, 0, out.pos);
    }
    ZSTD_freeDCtx(context);
    EXPECT_NE(plain.find("[[ZUM_WB_PEN]]1499"), std::string::npos);
}

TEST(MeetingFile, CutShortIsReadAsFarAsItGoes)
{
    const auto items = Some(2500);
    const std::string whole = Written(items);
    Reader reader(MemorySource(whole));
    const std::string head = Written({}).substr(0, 8 + kHeadFixedBytes + 7 + 13 + kSumBytes);
    for (std::size_t size = 0; size < whole.size(); size += size < 200 ? 1 : 97) {
        const std::string said = Verdict(whole.substr(0, size));
        if (size < head.size())
            EXPECT_TRUE(said.starts_with("this is no") || said.starts_with("the head")) << size << said;
        else
            EXPECT_TRUE(said == "first 0" || said == "first 1024" || said == "first 2048" ||
                        said == "first 2500")
                << size << said;
    }
    EXPECT_EQ(Verdict(whole.substr(0, whole.size() - 1)), "first 2500");
}

TEST(MeetingFile, SaysWhatIsDamagedAndReadsTheRest)
{
    const std::string whole = Written(Some(2500));
    for (std::size_t at = 0; at < whole.size(); at += 13) {  // one bit each, anywhere: never taken for whole
        std::string bytes = whole;
        bytes[at] = char(bytes[at] ^ (1 << at % 8));
        EXPECT_NE(Verdict(bytes), "whole") << at;
    }
    std::string bytes = whole;
    bytes[whole.size() / 2] ^= 1;  // in the second of three frames
    Reader reader(MemorySource(bytes));
    EXPECT_EQ(reader.Frame(0).size(), 1024u);
    EXPECT_THROW(reader.Frame(1), BadFile);
    EXPECT_EQ(reader.Frame(2).size(), 452u);
    std::string later = Written({});
    later[8 + 8] = 2;
    EXPECT_NE(Verdict(later).find("format 2"), std::string::npos);
    EXPECT_EQ(Verdict(std::string(500, '\0')), "this is no meeting file");
}

TEST(MeetingFile, BelievesNoNumberOfAStranger)
{
    const std::string good = ItemBytes(25, 1, 3,
                                       "Ann"
                                       "[]");
    const std::string damaged = "a piece of the meeting file is damaged";
    const std::string cut = "something is cut short inside the file";
    const std::string unlike = "a piece of the meeting file is not what its index says";
    const std::string bomb(kFramePlainBytes + 1, '\0');
    const struct {
        const char* why;
        std::string plain;
        std::uint32_t said, items;
        std::string verdict;
    } rows[] = {
        {"as it should be", good, 29, 1, "whole"},
        {"a kind of later", good + ItemBytes(20, 99, 0, ""), 53, 1, "whole"},
        {"an item longer than its frame", ItemBytes(0xffffffff, 1, 0, ""), 24, 1, cut},
        {"an item shorter than its fields", ItemBytes(3, 1, 0, ""), 24, 1, cut},
        {"a handle longer than its item", ItemBytes(20, 1, 500, ""), 24, 1, cut},
        {"a picture without its place", ItemBytes(22, 2, 0, "ab"), 26, 1, cut},
        {"more said than there is", good, 30, 1, damaged},
        {"less said than there is", good, 28, 1, damaged},
        {"more items said", good + good, 58, 1, unlike},
        {"more items than fit", good, 29, 2, "first 1"},
        {"a bomb that says so", bomb, std::uint32_t(bomb.size()), 0, "first 0"},
        {"a bomb that does not", bomb, 24, 1, damaged},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Verdict(Forged(row.plain, row.said, row.items)), row.verdict) << row.why;
}

TEST(MeetingFile, IsReadFromADiskAndNothingElse)
{
    char path[] = "/tmp/meeting-file-XXXXXX";
    const files::Descriptor file(::mkstemp(path));
    const auto items = Some(10);
    files::WriteWhole(file, Written(items), path);
    Reader reader(FileSource(path));
    EXPECT_EQ(ReadAll(reader), items);
    ASSERT_EQ(::ftruncate(file.Number(), 50), 0);
    EXPECT_THROW(reader.Frame(0), BadFile);  // somebody cuts it while it is open
    ::unlink(path);
    EXPECT_THROW(FileSource(path), files::FileProblem);
    EXPECT_THROW(FileSource("/dev/zero"), files::FileProblem);
}
