import QtQuick
import QtTest
import Wingbell.Testing

// Tests of a panel: a fresh desk for every test, and what a test opens over it. A complaint of the
// panel's own bindings fails the test.
TestCase {
    id: test

    property var desk: null
    property var opened: []
    // When the last key or button of `pressKey`, `holdKey` and `pressAt` went down, in milliseconds.
    property real pressedAt: 0

    // Every item below `root` that is of the type, in the order in which they are drawn.
    function all(root, type) {
        const found = [];
        for (let index = 0; index < root.children.length; ++index) {
            const child = root.children[index];
            if (child instanceof type)
                found.push(child);
            found.push(...all(child, type));
        }
        return found;
    }
    // The items' places in `root`, as text that a failure shows whole.
    function places(items, root) {
        return items.map(item => {
                const place = item.mapToItem(root, 0, 0);
                return `${place.x},${place.y} ${item.width}x${item.height}`;
            });
    }
    function cleanup() {
        // The panels first: they read the desk to the end.
        for (const item of opened)
            item.destroy();
        opened = [];
        wait(0);
        desk.killServers();
        tryVerify(() => desk.serverCount() === 0);
        desk.destroy();
        desk = null;
    }
    // A key press in the item's window, `later` milliseconds after the one before.
    function pressKey(item, key, text, later) {
        pressedAt += later ?? 1000;
        desk.sendKey(item, true, key, text ?? "", pressedAt);
        desk.sendKey(item, false, key, text ?? "", pressedAt + 30);
    }
    // A key that is held in the item's window until it has been repeated five times: each repeat is
    // a release and a press of one time, as X11 has it.
    function holdKey(item, key, text) {
        pressedAt += 1000;
        desk.sendKey(item, true, key, text ?? "", pressedAt);
        for (let times = 1; times <= 5; ++times) {
            const time = pressedAt + 600 + times * 40;
            desk.sendKey(item, false, key, text ?? "", time);
            desk.sendKey(item, true, key, text ?? "", time);
        }
        pressedAt += 1000;
        desk.sendKey(item, false, key, text ?? "", pressedAt);
    }
    // A press by the left button there in the item, `later` milliseconds after the one before.
    function pressAt(item, place, later) {
        pressedAt += later ?? 1000;
        desk.sendButton(item, true, place, pressedAt);
        desk.sendButton(item, false, place, pressedAt + 30);
    }
    // Presses an item of a wrapping row, which stands in its place only once that is laid out.
    function clickChip(chip) {
        laidOut(chip.parent);
        mouseClick(chip);
    }
    // The contrast of two opaque colours, from 1 to 21, as guidelines for legible text count it.
    function contrast(one, other) {
        const lights = new Array();
        for (const color of [one, other]) {
            const linear = value => value <= 0.04045 ? value / 12.92 : Math.pow((value + 0.055) / 1.055, 2.4);
            lights.push(0.2126 * linear(color.r) + 0.7152 * linear(color.g) + 0.0722 * linear(color.b));
        }
        return (Math.max(...lights) + 0.05) / (Math.min(...lights) + 0.05);
    }
    // Whether two colours are drawn alike, in 8 bits a channel.
    function compareColors(actual, wanted) {
        compare(`${actual}`, `${wanted}`);
    }
    // Whether both hold the same texts, in whatever order.
    function compareSets(actual, wanted) {
        compare(actual.slice().sort(), wanted.slice().sort());
    }
    function init() {
        failOnWarning(/.?/);
        desk = deskComponent.createObject(test);
    }
    function laidOut(layout) {
        tryVerify(() => !isPolishScheduled(layout));
    }
    // The item below `root` that says the text, as a chip does its name; fails where there is none.
    function labelled(root, type, text) {
        const found = all(root, type).filter(item => (item.text ?? item.name) === text);
        compare(found.length, 1, `one "${text}"`);
        return found[0];
    }
    // Rows of test data that are one value each.
    function eachOf(values) {
        return values.map(value => ({
                        "tag": `${value}`,
                        "value": value
                    }));
    }
    // Creates the component's item in the test's window, until the test ends.
    function open(component, properties) {
        const item = component.createObject(parent, properties ?? {});
        verify(item);
        opened.push(item);
        return item;
    }
    // A colour laid over an opaque one.
    function over(front, back) {
        const mixed = (above, below) => above * front.a + below * (1 - front.a);
        return Qt.rgba(mixed(front.r, back.r), mixed(front.g, back.g), mixed(front.b, back.b), 1);
    }
    function selectAllOf(field) {
        mouseClick(field);
        keyClick(Qt.Key_A, Qt.ControlModifier);
    }
    function typeText(text) {
        for (const character of text)
            keyClick(character);
    }

    when: windowShown

    Component {
        id: deskComponent

        TestDesk {
        }
    }
}
