// The target is either what it was or the whole new file, whatever happens on the way.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "tool_test.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;

mode_t mode_of(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

Png chelsea() { return read_png(sample("chelsea.png")); }

TEST(Target, an_existing_file_is_kept_without_force_and_replaced_with_it) {
  put_bytes("b.png", "precious");
  expect("convert samples/chelsea.png -o b.png", 4, _,
         HasSubstr("orb: error: b.png exists and is kept; -f replaces it"));
  EXPECT_EQ(bytes_of("b.png"), "precious");
  expect("convert -f samples/chelsea.png -o b.png", 0);
  EXPECT_EQ(read_png("b.png"), chelsea());
  expect("convert -f b.png -o ./b.png --set compression=1", 0);  // the input itself
  EXPECT_EQ(read_png("b.png"), chelsea());
  EXPECT_THAT(names(), ElementsAre("b.png"));
}

TEST(Target, a_file_that_comes_while_the_picture_is_made_is_kept) {
  expect("convert -q samples/chelsea.png -o whole.pipe", 0);
  const Outcome run = shell(
      "{ head -c 1000 whole.pipe; for i in {1..500}; do test -e .race.orb-* && break; sleep 0.02; done; "
      "echo -n mine > race.png; tail -c +1001 whole.pipe; } | orb convert - -o race.png");
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.err, HasSubstr("race.png exists and is kept; -f replaces it"));
  EXPECT_EQ(bytes_of("race.png"), "mine");
  EXPECT_THAT(names(), ElementsAre("race.png", "whole.pipe"));
}

TEST(Target, permissions_are_the_targets_own_or_the_usual_ones) {
  ASSERT_EQ(shell("umask 027; orb convert -q $SAMPLES/chelsea.png -o new.png").status, 0);
  EXPECT_EQ(mode_of("new.png"), 0640U);
  chmod("new.png", 0606);
  expect("convert -f samples/chelsea.png -o new.png", 0);
  EXPECT_EQ(mode_of("new.png"), 0606U);
}

TEST(Target, a_symbolic_link_stays_and_what_it_points_to_is_replaced) {
  fs::create_directory("real");
  put_bytes("real/file.png", "old");
  fs::create_symlink("real/file.png", "link.png");
  fs::create_symlink("real/new.png", "dangling.png");
  fs::create_symlink("loop.png", "loop.png");
  expect_all({{"convert samples/chelsea.png -o link.png", 4},
              {"convert -f samples/chelsea.png -o link.png", 0},
              {"convert samples/chelsea.png -o dangling.png", 0},
              {"convert -f samples/chelsea.png -o loop.png", 4}});
  EXPECT_TRUE(fs::is_symlink("link.png"));
  EXPECT_TRUE(fs::is_symlink("dangling.png"));
  for (const char* name : {"real/file.png", "real/new.png"}) EXPECT_EQ(read_png(name).width, 451U) << name;
}

TEST(Target, a_name_of_the_greatest_length_has_room_for_its_temporary) {
  const std::string name = std::string(251, 'n') + ".png";
  expect("convert samples/chelsea.png -o " + name, 0);
  EXPECT_THAT(names(), ElementsAre(name));
}

TEST(Target, bad_input_leaves_the_old_file_and_no_other) {
  const std::string picture = bytes_of(sample("chelsea.png"));
  std::string damaged = picture;
  damaged[picture.size() / 2] = static_cast<char>(~damaged[picture.size() / 2]);
  fs::create_directory("folder.png");
  put_bytes("empty.png", "");
  put_bytes("half.png", picture.substr(0, picture.size() / 2));
  put_bytes("damaged.png", damaged);
  // A text that claims two gigabytes, behind the file's first chunk.
  put_bytes("greedy.png",
            picture.substr(0, 33) + std::string("\x7f\xff\xff\xfftEXta\0b", 11) + picture.substr(33));
  PipeFile stream;
  stream.write("whole.pipe");
  const std::string whole = bytes_of("whole.pipe");
  put_bytes("half.pipe", whole.substr(0, whole.size() - 60));
  put_bytes("endless.pipe", whole.substr(0, whole.size() - 1));
  stream.change = [](ORB_INFO&, ORB_IFD& image) { image.color.count = 0; };
  stream.write("hollow.pipe");
  put_bytes("old.png", "old");
  const Names before = names();
  for (const std::string input : {"missing.png", "folder.png", "empty.png", "half.png", "half.pipe",
                                  "endless.pipe", "damaged.png", "greedy.png", "hollow.pipe"}) {
    for (const char* target : {"old.png", "new.png", "new.pipe"}) {
      expect("convert -f " + input + " -o " + target, input == "missing.png" ? 3 : 4, _,
             ::testing::ContainsRegex("(^|\n)orb: error: "));
      EXPECT_EQ(names(), before) << input;
      EXPECT_EQ(bytes_of("old.png"), "old") << input;
    }
  }
}

TEST(Target, one_that_cannot_be_written_is_an_error_that_names_it) {
  fs::create_directory("folder.png");
  const std::pair<std::string, const char*> rows[] = {{"folder.png", "Is a directory"},
                                                      {"none/b.png", "No such file or directory"},
                                                      {"/proc/self/b.png", ""},
                                                      {"b.unheardof", "no known format has this ending"}};
  for (const auto& [target, reason] : rows) {
    expect("convert -f samples/chelsea.png -o " + target, 4, _,
           AllOf(HasSubstr(target), HasSubstr(reason), Not(HasSubstr(".orb-"))));
    if (*reason != '\0') expect("convert -n -f samples/chelsea.png -o " + target, 4, _, HasSubstr(reason));
  }
  EXPECT_THAT(names(), ElementsAre("folder.png"));
}

TEST(Target, a_read_only_folder_or_file_is_left_alone) {
  // Root may write anywhere, so the tool runs as another user here; an ordinary user is one already.
  const bool is_root = geteuid() == 0;
  const std::string as_user = is_root ? "setpriv --reuid 65534 --regid 65534 --clear-groups " : "";
  if (shell(as_user + "test -x $ORB -a -r $SAMPLES/chelsea.png").status != 0) {
    GTEST_SKIP() << "another user cannot reach the program";
  }
  fs::create_directory("locked");
  put_bytes("locked/old.png", "old");
  put_bytes("fixed.png", "fixed");
  ASSERT_EQ(shell(is_root ? "chown -R 65534:65534 ." : "true").status, 0);
  chmod("fixed.png", 0444);
  chmod("locked", 0555);
  for (const std::string target : {"locked/old.png", "locked/new.png", "fixed.png"}) {
    EXPECT_EQ(shell(as_user + "orb convert -f $SAMPLES/chelsea.png -o " + target).status, 4) << target;
  }
  EXPECT_EQ(bytes_of("locked/old.png") + bytes_of("fixed.png"), "oldfixed");
  chmod("locked", 0755);
}

TEST(Target, results_on_a_full_device_are_an_error) {
  for (const std::string command : {"formats", "--help", "convert --help", "--version"}) {
    EXPECT_EQ(shell("orb " + command + " > /dev/full").status, 4) << command;
  }
}

// A file that is opened next would get the closed stream's number, and what is meant for the stream.
TEST(Target, a_closed_standard_stream_puts_no_messages_into_the_picture) {
  expect("convert -q samples/chelsea.png -o a.pipe", 0);
  for (const std::string row : {"- < a.pipe 2>&-", "a.pipe <&- 2>&-", "a.pipe <&- >&- 2>&-"}) {
    EXPECT_EQ(shell("orb convert -f -vv --progress=plain -o b.png " + row).status, 0) << row;
    EXPECT_EQ(read_png("b.png"), chelsea()) << row;
  }
  for (const std::string refused : {"formats >&-", "--help >&-", "convert a.pipe -o - >&-", "info - <&-"}) {
    EXPECT_EQ(shell("orb " + refused).status, 4) << refused;
  }
}

TEST(Target, running_out_of_open_files_is_worth_another_try) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's own checks need files";
#endif
  const Outcome run = shell("ulimit -n 4; orb convert -q $SAMPLES/chelsea.png -o b.png");
  EXPECT_EQ(run.status, 75);
  EXPECT_THAT(run.err, HasSubstr("Cannot open file b.png; Too many open files"));
  EXPECT_THAT(names(), ElementsAre());
}

TEST(Target, an_interrupt_removes_the_temporary_and_ends_with_130) {
  expect("convert -q samples/chelsea.png -o whole.pipe", 0);
  const std::string stream = bytes_of("whole.pipe");
  put_bytes("old.png", "old");
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    Running running("convert -f - -o old.png");
    running.feed(stream.substr(0, stream.size() / 2));
    ASSERT_TRUE(comes_true([] { return names().size() == 3; })) << "no temporary was made";
    EXPECT_THAT(names()[0], StartsWith(".old.orb-"));
    EXPECT_EQ(running.end_with(signal_number), 130);
    EXPECT_THAT(names(), ElementsAre("old.png", "whole.pipe"));
    EXPECT_EQ(bytes_of("old.png"), "old");
  }
}

TEST(Target, named_pipes_are_written_directly_and_a_reader_that_leaves_is_an_error) {
  ASSERT_EQ(mkfifo("fifo", 0600), 0);
  const std::string convert = "orb convert -q $SAMPLES/chelsea.png -o fifo --to pipe & ";
  const Outcome whole =
      shell(convert + "orb convert fifo --from pipe -o b.png; a=$?; wait $!; exit $((a + $?))");
  EXPECT_EQ(whole.status, 0) << whole.err;
  EXPECT_EQ(read_png("b.png"), chelsea());
  EXPECT_TRUE(fs::is_fifo("fifo"));
  const Outcome cut = shell(convert + "head -c 1000 fifo > /dev/null; wait $!");
  EXPECT_EQ(cut.status, 4);
  EXPECT_THAT(cut.err, HasSubstr("Broken pipe"));
}

TEST(Target, results_go_into_a_file_as_safely) {
  expect("formats --json -n -o list.json", 0);
  EXPECT_THAT(names(), ElementsAre());
  expect_all({{"formats -o list.json"}, {"config -o list.json", 4}, {"config -f -o list.json"}});
  for (const std::string verb : {"info", "check", "view"}) {  // before the work
    expect(verb + " none.png -o list.json", 4, _, Not(HasSubstr("none.png")));
  }
  EXPECT_THAT(shell("echo log > log; orb config -o /dev/stdout >> log; cat log").out, StartsWith("log\n"));
  EXPECT_THAT(bytes_of("list.json"), HasSubstr("fmt__gamma_default"));
}

TEST(Target, of_many_frames_is_made_within_the_memory_that_is_allowed) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's own memory hides the tool's";
#endif
  PipeFile file;  // 20 MB in memory when its rows have to be turned round
  file.width = 50000;
  file.height = 130;
  for (const char* name : {"a.1.pipe", "a.2.pipe", "a.3.pipe", "a.4.pipe"}) file.write(name);
  // In KiB, of the largest process that has ended so far.
  const auto peak_after = [](const std::string& options) {
    expect("convert -qf a.#.pipe -o b.#.png --set compression=1 " + options, 0);
    struct rusage usage = {};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss;
  };
  const int64_t bare = peak_after("--region 0,0,0,0 --drop window");
  EXPECT_LT(peak_after("-j2 --mem 4M") - bare, 8 * 1024) << "of " << bare;
  EXPECT_GT(peak_after("-j2") - bare, 12 * 1024) << "there is nothing to bound";
}

}  // namespace
}  // namespace orb::testing
