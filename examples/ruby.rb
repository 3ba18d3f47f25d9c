#!/usr/bin/env ruby
# The client interface for Ruby, over ffi, as the example of one more language: functions are made from the description of
# the interface in the home, and nothing else is read. Left out, as the example is short, is what gives arrays and texts that
# have to be released, and what takes functions or addresses. As a program it runs the lines of interface/conformance that
# are left:
#
#     VEXA_HOME=build/release/home examples/ruby.rb
require "ffi"
require "json"
require "tmpdir"

module Vexa
  extend FFI::Library
  ffi_lib "#{ENV.fetch("VEXA_HOME")}/lib/libvexaxd_p.so"
  TABLE = JSON.parse(File.read("#{ENV["VEXA_HOME"]}/share/vexaxd/functions.json", encoding: "UTF-8"))["functions"]
  TYPES = Hash.new(:pointer).merge("unsigned int" => :uint, "unsigned long" => :ulong,
                                   **%w[void bool int long double].to_h { |type| [type, type.to_sym] })
  TABLE.each do |function|
    types = function["arguments"].map { |argument| TYPES[argument["c_type"]] }
    attach_function "c_#{function["name"]}", function["name"], types, TYPES[function["c_type"]]
  end

  class Error < StandardError
    attr_reader :function, :code

    def initialize(function, code)
      @function, @code = function, code
      super("#{function} failed with code #{code}. #{Vexa.text(Vexa.c_VexaLastError)}")
    end
  end

  def self.text(at) = at.null? ? nil : at.read_string.force_encoding("UTF-8")
  def self.list(at) = Array.new(c_GetStringListLength(at)) { |i| text(c_GetStringFromList(at, i)) }.tap { c_RemoveStringList(at) }

  PLAIN = %w[int uint long bool double].to_h { |word| [word, ->(value) { value }] }
  TEXT = ->(value) { value && FFI::MemoryPointer.from_string(value) }
  ROOM = ->(type, count) { FFI::MemoryPointer.new(type, [count, 1].max) }
  TEXTS = ->(texts) { ROOM[:pointer, texts.size].write_array_of_pointer(texts) }
  GIVEN = { **PLAIN, "text" => TEXT, "text?" => TEXT, "bytes" => TEXT, "texts" => TEXTS,
            "ints" => ->(ints) { ROOM[:int, ints.size].write_array_of_int(ints) } }.freeze
  COUNTS = %w[length count each].freeze # of the list in front of them
  TAKEN = { "int*" => :read_int.to_proc, "long*" => :read_long.to_proc, "double*" => :read_double.to_proc,
            "list*" => ->(room) { list(room.read_pointer) } }.freeze
  RESULTS = { **PLAIN.slice("int", "long", "double", "bool"), "text" => method(:text), "list" => method(:list) }.freeze
  OUTSIDE = %w[IsBackendReady IsXDriven StopVexa].freeze # have an answer outside a session; others would wait there

  def self.make(name, arguments, function)
    waits = function["asks"].any? && !function["guarded"] && !OUTSIDE.include?(name)
    define_singleton_method(name) do |*values|
      raise Error.new(name, 17) if waits && c_FreeStringArray(nil, 0) == 17 # which looks, and sends nothing

      rooms, kept, last = {}, [], nil # texts live as long as the call
      passed = arguments.map do |word, called|
        next last.is_a?(Array) ? last.size : last.bytesize if COUNTS.include?(word)
        next rooms[called] = ROOM[:long, 1] unless GIVEN.key?(word)

        value = values.shift
        last = value if %w[bytes texts ints].include?(word)
        GIVEN[word].call(word == "texts" ? kept.push(*value.map(&TEXT)).last(value.size) : value)
      end
      result = public_send("c_#{name}", *passed)
      code = function["result"] == "code" ? result : rooms["errCode"]&.read_int || 0
      raise Error.new(name, code) unless code.zero? || function["codes"].include?(code)

      fields = RESULTS.key?(function["result"]) ? [RESULTS[function["result"]].call(result)] : []
      arguments.each { |word, called| fields << TAKEN[word].call(rooms[called]) if TAKEN[word] }
      fields.size > 1 ? fields : fields.first
    end
  end

  TABLE.each do |function|
    arguments = function["arguments"].map { |argument| argument.values_at("word", "name") }
    known = arguments.all? { |word, _| [GIVEN, TAKEN].any? { |words| words.key?(word) } || ["error", *COUNTS].include?(word) }
    make(function["name"], arguments, function) if known && ["void", "code", *RESULTS.keys].include?(function["result"])
  end
end

def outcome(name, arguments)
  ["->", Vexa.public_send(name, *arguments)]
rescue Vexa::Error => e
  ["!", e.function == name ? e.code : nil]
end

def same(got, wanted)
  return got.size == wanted.size && got.zip(wanted).all? { |pair| same(*pair) } if got.is_a?(Array) && wanted.is_a?(Array)

  wanted == "*" || got == wanted
end

if $PROGRAM_NAME == __FILE__
  suite = File.expand_path("../interface/conformance", __dir__)
  counts = Hash.new(0)
  Dir.mktmpdir do |temp|
    ENV["VEXA_QUICK"], ENV["VEXADXTEMP"] = "1", temp
    File.foreach("#{suite}/calls.txt", chomp: true, encoding: "UTF-8") do |line|
      line = line.gsub("{data}", suite).gsub("{temp}", temp)
      next if line.empty? || line.start_with?("#")
      next Vexa.StartVexa(line.delete_prefix("start").strip) if line.start_with?("start")
      next Vexa.StopVexa if line == "stop"

      name, arguments, way, wanted = line.match(/^(\w+) (\[.*\]) (->|!) (.*)$/).captures
      next counts[:left_out] += 1 unless Vexa.respond_to?(name)

      got = outcome(name, JSON.parse(arguments))
      good = got.first == way && same(got.last, JSON.parse(wanted))
      counts[good ? :passed : :failed] += 1
      puts "#{line}\n    gave #{got.join(" ")}" unless good
    end
  end
  puts "#{counts[:passed]} passed, #{counts[:failed]} failed, #{counts[:left_out]} left out"
  exit counts[:failed].zero?
end
