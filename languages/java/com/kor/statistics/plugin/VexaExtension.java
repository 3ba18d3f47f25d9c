package com.kor.statistics.plugin;

/**
 * What an extension implements: a public class with a public constructor without arguments, named as the command that
 * runs it. Each run is a process of its own, in which {@link #execute} is called once.
 *
 * <pre>{@code
 * public final class Hello implements VexaExtension {
 *   @Override
 *   public void execute(Command command) {
 *     System.out.println(command.lines().size() + " lines, " + Vexa.rowCount() + " cases");
 *   }
 * }
 * }</pre>
 */
public interface VexaExtension {
  /**
   * Does the work. The run is over when this returns, whatever other threads are up to. What is printed to
   * {@code System.out} and {@code System.err} goes to the backend's output line by line.
   *
   * @param command what the extension was called with
   * @throws Exception any failure: its stack trace goes to the backend's output, and the run counts as failed
   */
  void execute(Command command) throws Exception;
}
