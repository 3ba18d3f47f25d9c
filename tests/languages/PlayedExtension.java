import com.kor.statistics.plugin.Command;
import com.kor.statistics.plugin.Vexa;
import com.kor.statistics.plugin.VexaException;
import com.kor.statistics.plugin.VexaExtension;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Base64;
import java.util.List;

/** Does what the first line of its block says. */
public final class PlayedExtension implements VexaExtension {
  @Override
  public void execute(Command command) throws Exception {
    List<String> lines = command.lines();
    switch (lines.get(0)) {
      case "tell" -> {
        System.out.println(command.name() + " " + command.bytes().length + " " + lines.get(1).strip());
        System.out.print("on " + Vexa.variableName(3) + " of " + Vexa.rowCount());
      }
      case "leave a thread" -> new Thread(PlayedExtension::sleep).start();
      case "columns" -> {
        PlayedColumns.beRefused();
        PlayedColumns.play();
      }
      case "sleep" -> sleep();
      case "fail" -> throw new IllegalStateException("on purpose");
      case "sit" -> {
        Files.createFile(Path.of(lines.get(1)));
        sleep();
      }
      case "call" -> {
        Files.createFile(Path.of(lines.get(1)));
        while (!Files.exists(Path.of(lines.get(2)))) Thread.sleep(5);
        Vexa.rowCount();
      }
      case "count" -> Vexa.rowCount();
      case "submit" -> Vexa.submit(new String(Base64.getDecoder().decode(lines.get(1)), StandardCharsets.UTF_8));
      case "exit" -> System.exit(0);
      case "die" -> Runtime.getRuntime().exec(new String[] {"/bin/kill", "-9", "" + pid()}).waitFor();
      case "ask too much" -> Vexa.variableName(99);
      case "nest" -> {
        try {
          Vexa.submit("LANGUAGE JAVAEXTENSION.\n" + lines.get(1) + "\n" + lines.get(2) + "\n" + lines.get(1)
              + "\nfail\nEND LANGUAGE.");
        } catch (VexaException failure) {
          System.out.println("inner " + failure.code());
        }
        System.out.println("outer goes on with " + Vexa.rowCount());
      }
      default -> throw new IllegalArgumentException(lines.get(0));
    }
  }

  private static long pid() {
    return ProcessHandle.current().pid();
  }

  private static void sleep() {
    try {
      Thread.sleep(600_000);
    } catch (InterruptedException end) {
      Thread.currentThread().interrupt();
    }
  }
}
