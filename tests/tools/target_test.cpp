// The target is either what it was or the whole new file, whatever happens on the way.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <thread>

#include "pictures.h"
#include "run_orb.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;

mode_t mode_of(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST(Target, an_existing_file_is_kept_without_force_and_replaced_with_it) {
  const Folder folder;
  put_bytes(folder.path("b.png"), "precious");
  const Outcome refused = orb(folder, {"convert", sample("chelsea.png"), "-o", "b.png"});
  EXPECT_EQ(refused.status, 4);
  EXPECT_NE(refused.err.find("orb: error: b.png exists and is kept; -f replaces it"), std::string::npos);
  EXPECT_EQ(bytes_of(folder.path("b.png")), "precious");
  EXPECT_EQ(orb(folder, {"convert", "-f", sample("chelsea.png"), "-o", "b.png"}).status, 0);
  EXPECT_EQ(read_png(folder.path("b.png")), read_png(sample("chelsea.png")));
  EXPECT_EQ(folder.names(), std::vector<std::string>{"b.png"});
}

TEST(Target, the_input_itself_may_be_the_target) {
  const Folder folder;
  write_noise_png(folder.path("a.png"), 40, 30, 16, 2);
  const Png before = read_png(folder.path("a.png"));
  ASSERT_EQ(orb(folder, {"convert", "-f", "a.png", "-o", "./a.png", "--set", "compression=1"}).status, 0);
  EXPECT_EQ(read_png(folder.path("a.png")), before);
}

TEST(Target, permissions_are_the_targets_own_or_the_usual_ones) {
  const Folder folder;
  ASSERT_EQ(shell(folder, "umask 027; \"$ORB\" convert -q '" + sample("chelsea.png") + "' -o new.png").status,
            0);
  EXPECT_EQ(mode_of(folder.path("new.png")), 0640U);
  chmod(folder.path("new.png").c_str(), 0606);
  ASSERT_EQ(orb(folder, {"convert", "-f", sample("chelsea.png"), "-o", "new.png"}).status, 0);
  EXPECT_EQ(mode_of(folder.path("new.png")), 0606U);
}

TEST(Target, a_symbolic_link_stays_and_what_it_points_to_is_replaced) {
  const Folder folder;
  fs::create_directory(folder.path("real"));
  put_bytes(folder.path("real/file.png"), "old");
  fs::create_symlink("real/file.png", folder.path("link.png"));
  fs::create_symlink("real/new.png", folder.path("dangling.png"));
  fs::create_symlink("loop.png", folder.path("loop.png"));
  EXPECT_EQ(orb(folder, {"convert", sample("chelsea.png"), "-o", "link.png"}).status, 4);
  EXPECT_EQ(orb(folder, {"convert", "-f", sample("chelsea.png"), "-o", "link.png"}).status, 0);
  EXPECT_EQ(orb(folder, {"convert", sample("chelsea.png"), "-o", "dangling.png"}).status, 0);
  EXPECT_EQ(orb(folder, {"convert", "-f", sample("chelsea.png"), "-o", "loop.png"}).status, 4);
  EXPECT_TRUE(fs::is_symlink(folder.path("link.png")));
  EXPECT_TRUE(fs::is_symlink(folder.path("dangling.png")));
  for (const char* name : {"real/file.png", "real/new.png"}) {
    EXPECT_EQ(read_png(folder.path(name)).width, 451U) << name;
  }
}

TEST(Target, a_name_of_the_greatest_length_has_room_for_its_temporary) {
  const Folder folder;
  const std::string name = std::string(251, 'n') + ".png";
  EXPECT_EQ(orb(folder, {"convert", sample("chelsea.png"), "-o", name}).status, 0);
  EXPECT_EQ(folder.names(), std::vector<std::string>{name});
}

TEST(Target, bad_input_leaves_the_old_file_and_no_other) {
  const Folder folder;
  const std::string picture = bytes_of(sample("chelsea.png"));
  std::string damaged = picture;
  damaged[picture.size() / 2] = static_cast<char>(~damaged[picture.size() / 2]);
  fs::create_directory(folder.path("folder.png"));
  put_bytes(folder.path("empty.png"), "");
  put_bytes(folder.path("foreign.png"), "GIF89a, or so it says");
  put_bytes(folder.path("head.png"), picture.substr(0, 100));
  put_bytes(folder.path("half.png"), picture.substr(0, picture.size() / 2));
  put_bytes(folder.path("damaged.png"), damaged);
  // A text that claims two gigabytes, behind the file's first chunk.
  put_bytes(folder.path("greedy.png"),
            picture.substr(0, 33) + std::string("\x7f\xff\xff\xfftEXta\0b", 11) + picture.substr(33));
  ASSERT_EQ(orb(folder, {"convert", sample("chelsea.png"), "-o", "whole.pipe"}).status, 0);
  const std::string stream = bytes_of(folder.path("whole.pipe"));
  PipeFile no_channels;
  no_channels.change = [](ORB_INFO&, ORB_IFD& image) { image.color.count = 0; };
  no_channels.write(folder.path("hollow.pipe"));
  put_bytes(folder.path("half.pipe"), stream.substr(0, stream.size() / 2));
  put_bytes(folder.path("endless.pipe"), stream.substr(0, stream.size() - 1));
  put_bytes(folder.path("old.png"), "old");
  const std::vector<std::string> before = folder.names();
  const struct {
    const char* input;
    int status;
  } rows[] = {{"missing.png", 3}, {"folder.png", 4}, {"empty.png", 4},  {"foreign.png", 4},
              {"head.png", 4},    {"half.png", 4},   {"half.pipe", 4},  {"endless.pipe", 4},
              {"damaged.png", 4}, {"greedy.png", 4}, {"hollow.pipe", 4}};
  for (const auto& row : rows) {
    for (const char* target : {"old.png", "new.png", "new.pipe"}) {
      const Outcome run = orb(folder, {"convert", "-f", row.input, "-o", target});
      EXPECT_EQ(run.status, row.status) << row.input << run.err;
      EXPECT_EQ(run.err.rfind("orb: error: ", 0) != std::string::npos ||
                    run.err.find("\norb: error: ") != std::string::npos,
                true)
          << run.err;
      EXPECT_EQ(folder.names(), before) << row.input;
      EXPECT_EQ(bytes_of(folder.path("old.png")), "old") << row.input;
    }
  }
}

TEST(Target, one_that_cannot_be_written_is_an_error_that_names_it) {
  const Folder folder;
  fs::create_directory(folder.path("folder.png"));
  const struct {
    const char* target;
    const char* reason;
  } rows[] = {{"folder.png", "Is a directory"},
              {"none/b.png", "No such file or directory"},
              {"/proc/self/b.png", ""},
              {"b.unheardof", "no known format has this ending"}};
  for (const auto& row : rows) {
    const Outcome run = orb(folder, {"convert", "-f", sample("chelsea.png"), "-o", row.target});
    EXPECT_EQ(run.status, 4) << row.target << run.err;
    EXPECT_NE(run.err.find(row.target), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(row.reason), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find(".orb-"), std::string::npos) << run.err;
  }
  EXPECT_EQ(folder.names(), std::vector<std::string>{"folder.png"});
}

// Root may write anywhere, so the tool runs as another user here; an ordinary user is one already.
std::string as_ordinary_user() {
  return geteuid() == 0 ? "setpriv --reuid 65534 --regid 65534 --clear-groups " : "";
}

TEST(Target, a_read_only_folder_or_file_is_left_alone) {
  const Folder folder;
  if (shell(folder, as_ordinary_user() + "test -x \"$ORB\" -a -r '" + sample("chelsea.png") + "'").status !=
      0) {
    GTEST_SKIP() << "another user cannot reach the program";
  }
  fs::create_directory(folder.path("locked"));
  put_bytes(folder.path("locked/old.png"), "old");
  put_bytes(folder.path("fixed.png"), "fixed");
  if (geteuid() == 0) {
    ASSERT_EQ(shell(folder, "chown -R 65534:65534 .").status, 0);
  }
  chmod(folder.path("fixed.png").c_str(), 0444);
  chmod(folder.path("locked").c_str(), 0555);
  for (const std::string target : {"locked/old.png", "locked/new.png", "fixed.png"}) {
    const std::string command =
        as_ordinary_user() + "\"$ORB\" convert -f '" + sample("chelsea.png") + "' -o " + target;
    EXPECT_EQ(shell(folder, command).status, 4) << target;
  }
  EXPECT_EQ(bytes_of(folder.path("locked/old.png")) + bytes_of(folder.path("fixed.png")), "oldfixed");
  chmod(folder.path("locked").c_str(), 0755);
}

TEST(Target, results_on_a_full_device_are_an_error) {
  const Folder folder;
  for (const char* arguments : {"formats", "--help", "convert --help", "--version"}) {
    EXPECT_EQ(shell(folder, std::string("\"$ORB\" ") + arguments + " > /dev/full").status, 4) << arguments;
  }
}

// A file that is opened next would get the closed stream's number, and what is meant for the stream.
TEST(Target, a_closed_standard_stream_puts_no_messages_into_the_picture) {
  const Folder folder;
  ASSERT_EQ(orb(folder, {"convert", "-q", sample("chelsea.png"), "-o", "a.pipe"}).status, 0);
  const Png picture = read_png(sample("chelsea.png"));
  const char* const rows[] = {"- < a.pipe 2>&-", "a.pipe <&- 2>&-", "a.pipe <&- >&- 2>&-"};
  for (const char* row : rows) {
    const Outcome run =
        shell(folder, "\"$ORB\" convert -f -vv --progress=plain -o b.png " + std::string(row));
    EXPECT_EQ(run.status, 0) << row;
    EXPECT_EQ(read_png(folder.path("b.png")), picture) << row;
  }
  for (const char* refused : {"formats >&-", "--help >&-", "convert a.pipe -o - >&-", "info - <&-"}) {
    EXPECT_EQ(shell(folder, std::string("\"$ORB\" ") + refused).status, 4) << refused;
  }
}

TEST(Target, running_out_of_open_files_is_worth_another_try) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer's own checks need files";
#endif
  const Folder folder;
  const Outcome run =
      shell(folder, "ulimit -n 4; \"$ORB\" convert -q '" + sample("chelsea.png") + "' -o b.png");
  EXPECT_EQ(run.status, 75) << run.err;
  EXPECT_NE(run.err.find("Cannot open file b.png; Too many open files"), std::string::npos) << run.err;
  EXPECT_TRUE(folder.names().empty());
}

TEST(Target, an_interrupt_removes_the_temporary_and_ends_with_130) {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    const Folder folder;
    ASSERT_EQ(orb(folder, {"convert", "-q", sample("chelsea.png"), "-o", "whole.pipe"}).status, 0);
    const std::string stream = bytes_of(folder.path("whole.pipe"));
    put_bytes(folder.path("old.png"), "old");
    Running running(folder, {"convert", "-f", "-", "-o", "old.png"});
    running.feed(stream.substr(0, stream.size() / 2));
    for (int i = 0; i < 500 && folder.names().size() < 3; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_EQ(folder.names().size(), 3U) << "no temporary was made";
    EXPECT_EQ(folder.names()[0].rfind(".old.orb-", 0), 0U);
    EXPECT_EQ(running.end_with(signal_number), 130);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"old.png", "whole.pipe"}));
    EXPECT_EQ(bytes_of(folder.path("old.png")), "old");
  }
}

TEST(Target, named_pipes_are_written_directly_and_a_reader_that_leaves_is_an_error) {
  const Folder folder;
  ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
  const std::string convert = "\"$ORB\" convert -q '" + sample("chelsea.png") + "' -o fifo --to pipe";
  const Outcome whole = shell(
      folder, convert + " & \"$ORB\" convert fifo --from pipe -o b.png; a=$?; wait $!; exit $((a + $?))");
  EXPECT_EQ(whole.status, 0) << whole.err;
  EXPECT_EQ(read_png(folder.path("b.png")), read_png(sample("chelsea.png")));
  EXPECT_TRUE(fs::is_fifo(folder.path("fifo")));
  const Outcome cut = shell(folder, convert + " & head -c 1000 fifo > /dev/null; wait $!");
  EXPECT_EQ(cut.status, 4);
  EXPECT_NE(cut.err.find("Broken pipe"), std::string::npos) << cut.err;
}

TEST(Target, a_refused_conversion_puts_nothing_on_standard_output) {
  const Folder folder;
  PipeFile file;
  file.change = [](ORB_INFO&, ORB_IFD& image) { image.active_window = {2, 5, 1, 3}; };
  file.write(folder.path("a.pipe"));
  const Outcome run = orb(folder, {"convert", "a.pipe", "-o", "-", "--to", "png"});
  EXPECT_EQ(run.status, 5);
  EXPECT_EQ(run.out, "");
}

TEST(Target, results_go_into_a_file_as_safely) {
  const Folder folder;
  EXPECT_EQ(orb(folder, {"formats", "--json", "-n", "-o", "list.json"}).status, 0);
  EXPECT_TRUE(folder.names().empty());
  EXPECT_EQ(orb(folder, {"formats", "--json", "-o", "list.json"}).status, 0);
  EXPECT_TRUE(nlohmann::json::parse(bytes_of(folder.path("list.json"))).contains("formats"));
  EXPECT_EQ(orb(folder, {"config", "-o", "list.json"}).status, 4);
  EXPECT_EQ(orb(folder, {"config", "-f", "-o", "list.json"}).status, 0);
  EXPECT_NE(bytes_of(folder.path("list.json")).find("fmt__gamma_default"), std::string::npos);
}

}  // namespace
}  // namespace orb::testing
