import com.kor.statistics.plugin.Vexa;
import com.kor.statistics.plugin.VexaFunctions;
import com.kor.statistics.plugin.VexaSession;
import java.util.Arrays;

class Hottest {
  public static void main(String[] words) {
    try (VexaSession session = VexaSession.start("-data " + words[0])) {
      double[] temperatures = Vexa.columns().numbers("Temp");
      double hottest = Arrays.stream(temperatures).max().getAsDouble();
      System.out.println(VexaFunctions.GetVariableCount() + " " + temperatures.length + " " + hottest);
    }
  }
}
